// SPDX-License-Identifier: MIT
// The probe: is this a usable FLV stream, and what does it carry? It looks at tag headers and codec
// headers only. A tag is judged as if it had a reader context of its own, cleared; in fact nothing
// of the 131 KiB is needed, so a tag costs what its first bytes cost.
#include <cstring>

#include "bitStream/log.h"
#include "flv/script.h"
#include "flv/tag.h"

namespace zv::flv {
namespace {

constexpr uint32_t kMaxBadTags = 3;
constexpr uint32_t kPatience = 300;  // tags to wait for a video tag
constexpr uint32_t kTagOverhead = ZV_FLV_TAG_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
constexpr uint8_t kKeyFrame = 1;

constexpr double kSampleRates[4] = {5500.0, 11000.0, 22000.0, 44100.0};  // by sound_rate

// Assumed for every video tag: the stream's own values are not looked for.
constexpr double kFrameRate = 29.97;
constexpr double kWidth = 720.0;
constexpr double kHeight = 480.0;

bool is_decided(const FLVProbe& probe) {
    if (probe.num_datacheck > kPatience && probe.hasvideo == 0) return true;
    return probe.hasaudio == 1 && probe.hasvideo == 1 && probe.keyframe == 1;
}

bool is_known_type(uint8_t type) {
    return type == ZV_FLV_TAG_AUDIO || type == ZV_FLV_TAG_VIDEO || type == ZV_FLV_TAG_SCRIPT;
}

TagHeader first_header(const uint8_t* data, uint32_t size) {
    if (size >= ZV_FLV_TAG_HEADER_SIZE) return read_tag_header(data);
    uint8_t padded[ZV_FLV_TAG_HEADER_SIZE] = {};
    memcpy(padded, data, size);
    return read_tag_header(padded);
}

ByteReader body_of(const uint8_t* data, uint32_t size) {
    if (size <= ZV_FLV_TAG_HEADER_SIZE) return ByteReader(data, 0);
    return ByteReader(data + ZV_FLV_TAG_HEADER_SIZE, size - ZV_FLV_TAG_HEADER_SIZE);
}

void note_audio(FLVProbe* probe, const FLVAudioTag& tag) {
    FLVMetadata* summary = &probe->metadata;
    summary->stereo = tag.sound_type;
    summary->audiosamplesize = tag.sound_size == 0 ? 8.0 : 16.0;
    summary->audiosamplerate = kSampleRates[tag.sound_rate];
    summary->audiocodecid = tag.sound_format;
    probe->hasaudio = 1;
}

void note_video(FLVProbe* probe, const FLVVideoTag& tag) {
    FLVMetadata* summary = &probe->metadata;
    probe->hasvideo = 1;
    summary->videocodecid = tag.codec_id;
    summary->framerate = kFrameRate;
    summary->width = kWidth;
    summary->height = kHeight;
    if (tag.frametype != kKeyFrame) return;
    LOG(kLogDebug, "FLV", "find keyframe,num_datacheck:%d", static_cast<int>(probe->num_datacheck));
    probe->keyframe = 1;
}

// Counts a tag, or a piece of one.
void count_piece(FLVProbe* probe, int8_t timestamp) {
    probe->timestamp = static_cast<uint32_t>(int32_t{timestamp});
    probe->num_dataerror = 0;
    ++probe->num_datacheck;
}

// A body that is not decoded, because its size word is wrong, still counts as a tag of its type.
void note_tag(FLVProbe* probe, const TagHeader& header, ByteReader body, bool decode) {
    switch (header.type) {
        case ZV_FLV_TAG_AUDIO: {
            FLVAudioTag tag{};
            if (decode) read_audio_header(&body, &tag);
            note_audio(probe, tag);
            break;
        }
        case ZV_FLV_TAG_VIDEO: {
            FLVVideoTag tag{};
            if (decode) read_video_header(&body, &tag);
            note_video(probe, tag);
            break;
        }
        case ZV_FLV_TAG_SCRIPT:
            // Script data leaves no trace in the probe: all it can do is log its unknown types.
            if (decode && log_enabled(kLogDebug, "FLV"))
                parse_script(body, header.data_len, nullptr);
            break;
        default:
            break;
    }
    count_piece(probe, header.timestamp);
}

// Counts a piece of a tag. -> false when the piece ended the tag, or ran over its end
bool tag_goes_on(FLVProbe* probe, uint32_t size) {
    const uint64_t got = uint64_t{probe->taggot} + size;
    if (got < uint64_t{probe->taglen} + kTagOverhead) {
        probe->taggot = static_cast<uint32_t>(got);
        return true;
    }
    probe->taggot = 0;
    probe->taglen = 0;
    return false;
}

}  // namespace
}  // namespace zv::flv

int flv_api_check(FLVProbe* probe, const uint8_t* data, uint32_t size) {
    using namespace zv::flv;
    if (probe == nullptr || probe->num_dataerror > kMaxBadTags) return 0;
    if (is_decided(*probe)) return probe->hasaudio | probe->hasvideo;
    if (probe->taggot != 0) {
        // A later piece is counted and never read, so it may be empty; it has no timestamp.
        if (tag_goes_on(probe, size)) count_piece(probe, 0);
        return 1;
    }
    if (data == nullptr || size == 0) return 1;

    const TagHeader header = first_header(data, size);
    if (!is_known_type(header.type)) {
        ++probe->num_dataerror;
        LOG(zv::kLogDebug, "FLV", "no audio,video,scriptdata-flags_hasvideo,flags_hasaudio:%d,%d",
            probe->hasvideo, probe->hasaudio);
        return 0;
    }
    probe->taglen = header.data_len;
    const bool is_whole = header.data_len + kTagOverhead <= size;
    if (!is_whole && !tag_goes_on(probe, size)) return 1;

    const ByteReader body = body_of(data, size);
    uint32_t size_word = 0;
    const bool decode = !is_whole || size_word_matches(body, header.data_len, &size_word);
    note_tag(probe, header, body, decode);
    return 1;
}
