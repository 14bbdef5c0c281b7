// SPDX-License-Identifier: MIT
// Which parser reads a stream: the declared one first; where its bytes are something else, the one
// that is sure of them.
#include <algorithm>

#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

// Streams of start codes are of one of these families, by the codes that come in them.
enum class VideoFamily { kUnknown, kNalUnits, kMpeg12, kMpeg4 };

// Codes of one family may be data of another: a slice of MPEG-2 looks like a parameter set.
VideoFamily video_family(std::span<const uint8_t> es) {
    constexpr uint8_t kForbiddenBit = 0x80;  // of a NAL unit; start codes of older formats use it
    constexpr uint8_t kMpeg4Sequence = 0xB0;
    constexpr uint8_t kMpeg12Sequence = 0xB3;  // in MPEG-4 a group of pictures
    constexpr uint8_t kMpeg4Picture = 0xB6;
    constexpr size_t kFirstUnits = 3;
    bool mpeg12 = false;
    bool mpeg4 = false;
    size_t count = 0;
    size_t forbidden = 0;
    size_t forbidden_at_once = 0;
    StartCodes units(es);
    for (; const auto unit = units.next(); ++count) {
        const uint8_t code = unit->bytes[0];
        mpeg12 |= code == kMpeg12Sequence;
        mpeg4 |= code == kMpeg4Picture || code == kMpeg4Sequence;
        forbidden += (code & kForbiddenBit) != 0 ? 1 : 0;
        if (count < kFirstUnits) forbidden_at_once = forbidden;
    }
    if (mpeg4) return VideoFamily::kMpeg4;
    if (mpeg12) return VideoFamily::kMpeg12;
    // Later on one such code may come of damage.
    const bool nal_units = count > 0 && forbidden_at_once == 0 && forbidden < 2;
    return nal_units ? VideoFamily::kNalUnits : VideoFamily::kUnknown;
}

using ReadVideo = std::optional<VideoFacts> (*)(std::span<const uint8_t> es);
struct VideoFormat {
    Codec codec;
    VideoFamily family;
    ReadVideo read;
};
constexpr VideoFormat kVideoFormats[] = {
    {Codec::kH264, VideoFamily::kNalUnits, read_h264},
    {Codec::kHevc, VideoFamily::kNalUnits, read_h265},
    {Codec::kVvc, VideoFamily::kNalUnits, read_h266},
    {Codec::kMpeg4, VideoFamily::kMpeg4, read_mpeg4_video},
    {Codec::kAv1, VideoFamily::kUnknown, read_av1},
};

using ReadAudio = std::optional<AudioFacts> (*)(std::span<const uint8_t> es);
constexpr ReadAudio kSelfSyncingAudio[] = {read_truehd, read_mpeg_audio, read_adts,
                                           read_loas,   read_ac3,        read_dts};

CodecFacts video_facts(Codec codec, const VideoFacts& video) {
    return CodecFacts{codec, video.settled, video.details, std::nullopt};
}

std::optional<CodecFacts> read_mpeg12(std::span<const uint8_t> es) {
    const auto found = read_mpeg12_video(es);
    if (!found) return std::nullopt;
    return video_facts(found->mpeg2 ? Codec::kMpeg2Video : Codec::kMpeg1Video, found->video);
}

std::optional<CodecFacts> read_declared_video(Codec codec, std::span<const uint8_t> es) {
    const VideoFamily family = video_family(es);
    if (codec == Codec::kMpeg1Video || codec == Codec::kMpeg2Video) {
        auto facts = family == VideoFamily::kMpeg12 ? read_mpeg12(es) : std::nullopt;
        // A header whose extension may be missing yet does not make MPEG-1 of MPEG-2.
        if (facts && !facts->settled) facts->codec = codec;
        return facts;
    }
    for (const VideoFormat& format : kVideoFormats) {
        if (format.codec != codec) continue;
        if (format.family != VideoFamily::kUnknown && format.family != family) continue;
        if (const auto video = format.read(es)) return video_facts(codec, *video);
    }
    return std::nullopt;
}

std::optional<CodecFacts> read_any_video(std::span<const uint8_t> es) {
    const VideoFamily family = video_family(es);
    if (family == VideoFamily::kMpeg12) return read_mpeg12(es);
    if (family == VideoFamily::kUnknown || !begins_with_start_code(es)) return std::nullopt;
    for (const VideoFormat& format : kVideoFormats) {
        if (format.family != family) continue;
        const auto video = format.read(es);
        if (video && video->settled) return video_facts(format.codec, *video);
    }
    return std::nullopt;
}

CodecFacts audio_facts(const DeclaredStream& stream, const AudioFacts& audio) {
    CodecFacts facts = {audio.codec, audio.settled, std::nullopt, audio.details};
    if (audio.codec == Codec::kAac || audio.codec == Codec::kAacLatm)
        apply_declared_aac(declared_aac(stream.descriptors), *facts.audio);
    if (audio.codec == Codec::kAc4) facts.audio->channels = ac4_channels(stream.descriptors);
    return facts;
}

ReadAudio parser_of(Codec codec) {
    switch (codec) {
        case Codec::kMp1:
        case Codec::kMp2:
        case Codec::kMp3:
            return read_mpeg_audio;
        case Codec::kAac:
            return read_adts;
        case Codec::kAacLatm:
            return read_loas;
        case Codec::kAc3:
        case Codec::kEac3:
            return read_ac3;
        case Codec::kAc4:
            return read_ac4;
        case Codec::kDts:
            return read_dts;
        case Codec::kTrueHd:
            return read_truehd;
        case Codec::kS302m:
            return read_s302m;
        default:
            return nullptr;
    }
}

// The one of the formats with sync words and frame sizes of which frame follows frame.
std::optional<AudioFacts> read_any_audio(std::span<const uint8_t> es) {
    for (const ReadAudio read : kSelfSyncingAudio) {
        const auto audio = read(es);
        if (audio && audio->frames >= AudioFrameRun::kMaxCounted) return audio;
    }
    return std::nullopt;
}

// What the bytes are beyond doubt, whatever was declared.
std::optional<CodecFacts> read_any(const DeclaredStream& stream, std::span<const uint8_t> es) {
    if (const auto audio = read_any_audio(es)) return audio_facts(stream, *audio);
    return read_any_video(es);
}

CodecFacts read_audio(const DeclaredStream& stream, Codec declared, std::span<const uint8_t> es) {
    const ReadAudio read = parser_of(declared);
    const auto audio = read != nullptr ? read(es) : std::nullopt;
    const bool sure = audio && audio->sure;
    const bool keeps_codec = declared == Codec::kTrueHd;  // the core beside it is another format
    if (!sure && !keeps_codec) {
        if (const auto other = read_any(stream, es)) return *other;
    }
    if (audio) return audio_facts(stream, *audio);
    return CodecFacts{declared, false, std::nullopt, std::nullopt};
}

CodecFacts read_opus(const DeclaredStream& stream) {
    constexpr uint32_t kSampleRate = 48000;
    AudioDetails details;
    details.sample_rate = kSampleRate;
    details.channels = opus_channels(stream.descriptors);
    return CodecFacts{Codec::kOpus, true, std::nullopt, details};
}

CodecFacts read_video(const DeclaredStream& stream, Codec declared, std::span<const uint8_t> es) {
    auto facts = read_declared_video(declared, es);
    if (!facts) facts = read_any(stream, es);
    return facts.value_or(CodecFacts{declared, false, std::nullopt, std::nullopt});
}

}  // namespace

CodecFacts read_codec(const DeclaredStream& stream, std::span<const uint8_t> es) {
    const Codec declared = declared_codec(stream);
    if (declared == Codec::kUnknown) return read_any(stream, es).value_or(CodecFacts{});
    if (declared == Codec::kOpus) return read_opus(stream);
    switch (kind_of(declared, stream)) {
        case Kind::kVideo:
            return read_video(stream, declared, es);
        case Kind::kAudio:
            return read_audio(stream, declared, es);
        default:
            return CodecFacts{declared, true, std::nullopt, std::nullopt};
    }
}

}  // namespace zv::survey
