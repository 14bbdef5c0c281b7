// SPDX-License-Identifier: MIT
// Audio and video bodies: the codec header into the context, its labels into the log, and a copy of
// the AAC or AVC configuration record when the tag carries one.
#include <algorithm>
#include <cstring>

#include "bitStream/log.h"
#include "flv/flv_internal.h"
#include "flv/tag.h"

int32_t FLVVIDEOFrametype = 0;
int32_t FLVVIDEOCodeid = 0;
int32_t FLVSOUNDFormat = 0;

namespace zv::flv {
namespace {

constexpr uint8_t kSoundFormatAac = 10;
constexpr uint8_t kCodecAvc = 7;
constexpr uint8_t kSequenceHeader = 0;  // packet type of AAC and AVC alike
constexpr uint32_t kAacHeaderSize = 2;
constexpr uint32_t kAvcHeaderSize = 5;
constexpr uint32_t kPlainHeaderSize = 1;

// Log readers match these texts as they stand, stray parentheses included.
constexpr const char* kSoundTypes[] = {"0=Mono sound)", "1=Stereo sound"};
constexpr const char* kSoundSizes[] = {"0=8-bit samples", "1=16-bit samples"};
constexpr const char* kSoundRates[] = {"0=5.5 kHz", "1=11 kHz", "2=22 kHz", "3=44.1 kHz"};
// The texts of formats 14 and 15 stand in slots 12 and 13; the formats themselves print nothing.
constexpr const char* kSoundFormats[] = {
    "0=Linear PCM, platform endian",
    "1=ADPCM",
    "2=MP3",
    "3=Linear PCM, little endian",
    "4=Nellymoser 16 kHz mono",
    "5=Nellymoser 8 kHz mono",
    "6=Nellymoser",
    "7=G.711 A-law logarithmic PCM",
    "8=G.711 mu-law logarithmic PCM",
    "9=reserved",
    "10=AAC",
    "11=Speex",
    "14=MP3 8 kHz",
    "15=Device-specific sound",
};
constexpr const char* kAacPacketTypes[] = {"0=AAC sequence header", "1=AAC raw"};
constexpr const char* kCodecIds[] = {
    "0=res0",
    "1=res",
    "2=Sorenson H.263",
    "3=Screen video",
    "4=On2 VP6",
    "5=On2 VP6 with alpha channel",
    "6=Screen video version 2",
    "7=AVC(h.264)",
};
constexpr const char* kFrameTypes[] = {
    "0=res0",
    "1=key frame (for AVC, a seekable frame)",
    "2=inter frame (for AVC, a non-seekable frame)",
    "3=disposable inter frame (H.263 only)",
    "4=generated key frame (reserved for server use only)",
    "5=video info/command frame",
};
constexpr const char* kAvcPacketTypes[] = {
    "0=AVC sequence header",
    "1=AVC NALU",
    "2=AVC end of sequence)",
};

template <size_t N>
const char* label(const char* const (&labels)[N], uint8_t value) {
    return value < N ? labels[value] : "";
}

// Keeps the smallest of: the size that the tag claims, the bytes there, the room of the record.
void keep_config(ByteReader body, uint32_t claimed, uint8_t (&config)[ZV_FLV_CONFIG_MAX],
                 uint32_t* config_len) {
    const auto bytes = body.take(std::min<uint32_t>(claimed, ZV_FLV_CONFIG_MAX));
    if (!bytes.empty()) memcpy(config, bytes.data(), bytes.size());
    *config_len = static_cast<uint32_t>(bytes.size());
}

uint32_t bytes_after(uint32_t header_size, uint32_t data_len) {
    return data_len > header_size ? data_len - header_size : 0;
}

void log_audio(const FLVAudioTag& tag) {
    LOG(kLogDebug, "FLV", "sound_type:%s", label(kSoundTypes, tag.sound_type));
    LOG(kLogDebug, "FLV", "sound_size:%s", label(kSoundSizes, tag.sound_size));
    LOG(kLogDebug, "FLV", "sound_rate:%s", label(kSoundRates, tag.sound_rate));
    LOG(kLogDebug, "FLV", "sound_format:%s", label(kSoundFormats, tag.sound_format));
    if (tag.sound_format != kSoundFormatAac) return;
    LOG(kLogDebug, "FLV", "The sound_format is aac,and the aac_packect_type:%s",
        label(kAacPacketTypes, tag.aac_packet_type));
    if (tag.aac_packet_type == kSequenceHeader)
        LOG(kLogDebug, "FLV", "I will parse the aac sequence header...");
}

void log_video(const FLVVideoTag& tag) {
    LOG(kLogDebug, "FLV", "codec_id:%s", label(kCodecIds, tag.codec_id));
    LOG(kLogDebug, "FLV", "frametype:%s", label(kFrameTypes, tag.frametype));
    if (tag.codec_id != kCodecAvc) return;
    LOG(kLogDebug, "FLV", "The video_format is h.264,and the avpacket_type:%s",
        label(kAvcPacketTypes, tag.avpacket_type));
    LOG(kLogDebug, "FLV", "The  video_format id h.264,and the composition_time:%d",
        static_cast<int>(tag.composition_time));
    if (tag.avpacket_type == kSequenceHeader)
        LOG(kLogDebug, "FLV", "I will parse the h.264 sequence header...");
}

}  // namespace

void read_audio_header(ByteReader* body, FLVAudioTag* tag) {
    const uint8_t flags = body->u8();
    tag->sound_type = flags & 1;
    tag->sound_size = (flags >> 1) & 1;
    tag->sound_rate = (flags >> 2) & 3;
    tag->sound_format = flags >> 4;
    if (tag->sound_format == kSoundFormatAac) tag->aac_packet_type = body->u8();
}

void read_video_header(ByteReader* body, FLVVideoTag* tag) {
    const uint8_t flags = body->u8();
    tag->frametype = flags >> 4;
    tag->codec_id = flags & 0x0F;
    if (tag->codec_id != kCodecAvc) return;
    tag->avpacket_type = body->u8();
    tag->composition_time = body->be24();
}

void decode_audio(FLVContext* context, ByteReader body, bool print) {
    FLVAudioTag* tag = &context->payload.audio;
    read_audio_header(&body, tag);
    if (print) log_audio(*tag);
    if (tag->sound_format == kSoundFormatAac && tag->aac_packet_type == kSequenceHeader)
        keep_config(body, bytes_after(kAacHeaderSize, context->data_len), context->aac_config,
                    &context->aac_config_len);
}

void decode_video(FLVContext* context, ByteReader body, bool print) {
    FLVVideoTag* tag = &context->payload.video;
    read_video_header(&body, tag);
    if (print) log_video(*tag);
    if (tag->codec_id == kCodecAvc && tag->avpacket_type == kSequenceHeader)
        keep_config(body, bytes_after(kAvcHeaderSize, context->data_len), context->avc_config,
                    &context->avc_config_len);
}

}  // namespace zv::flv

const uint8_t* flv_innerapi_getpayload_aduio(FLVContext* context, const uint8_t* body,
                                             uint8_t print) {
    using namespace zv::flv;
    decode_audio(context, ByteReader(body, context->data_len), print != 0);
    const bool is_aac = context->payload.audio.sound_format == kSoundFormatAac;
    return body + (is_aac ? kAacHeaderSize : kPlainHeaderSize);
}

const uint8_t* flv_innerapi_getpayload_video(FLVContext* context, const uint8_t* body,
                                             uint8_t print) {
    using namespace zv::flv;
    decode_video(context, ByteReader(body, context->data_len), print != 0);
    const bool is_avc = context->payload.video.codec_id == kCodecAvc;
    return body + (is_avc ? kAvcHeaderSize : kPlainHeaderSize);
}
