// SPDX-License-Identifier: MIT
// What an elementary stream is: its codec as declared by descriptors and stream_type, and what its
// own first bytes say about codec, picture and sound. Pure functions; the caller gathers the bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zv::survey {

enum class Codec : uint8_t {
    kUnknown,
    kH264,
    kHevc,
    kVvc,
    kMpeg1Video,
    kMpeg2Video,
    kMpeg4,
    kAv1,
    kMp1,
    kMp2,
    kMp3,
    kAac,
    kAacLatm,
    kAc3,
    kEac3,
    kAc4,
    kDts,
    kTrueHd,
    kS302m,
    kOpus,
    kDvbSubtitle,
    kDvbTeletext,
    kScte35,
    kTimedId3,
    kKlv,
    kAribCaption
};

enum class Kind : uint8_t { kVideo, kAudio, kSubtitle, kData };

const char* codec_name(Codec codec);  // "h264"; nullptr for kUnknown
const char* kind_name(Kind kind);     // "video"

struct DeclaredStream {
    uint8_t stream_type;
    std::span<const uint8_t> descriptors;  // the descriptor loop of the stream in its PMT
    bool hdmv;                             // the programme is registered as "HDMV"
};

Codec declared_codec(const DeclaredStream& stream);

// codec: of the stream, as declared or as read. Streams of unknown codec have a kind where
// ISO/IEC 13818-1 assigns their stream_type; private ones are data.
Kind kind_of(Codec codec, const DeclaredStream& stream);

using Language = std::array<char, 3>;  // as it stands in the descriptor, not terminated
constexpr size_t kMaxLanguages = 64;

// Languages of the descriptors 0x0A, 0x46, 0x56 and 0x59, each once, in their order.
// -> how many of `out` were filled, at most kMaxLanguages
size_t declared_languages(std::span<const uint8_t> descriptors, std::span<Language> out);

struct VideoDetails {
    uint32_t width = 0;            // 0 unknown; of the frame, after cropping
    uint32_t height = 0;           // of the frame also where fields are coded as pictures
    double frame_rate = 0;         // 0 unknown; counts frames, also of interlaced video
    char profile[32] = {};         // "High"; "" unknown
    char level[12] = {};           // "4.0", "1b", "High 1440"; "" unknown
    int8_t interlaced = -1;        // -1 unknown
    uint8_t bit_depth = 0;         // 0 unknown
    const char* chroma = nullptr;  // "4:2:0"; nullptr unknown
};

struct AudioDetails {
    uint32_t sample_rate = 0;   // Hz; 0 unknown
    uint8_t channels = 0;       // 0 unknown
    uint32_t bit_rate_bps = 0;  // 0 unknown
    char profile[32] = {};      // "LC"; "" unknown
};

struct CodecFacts {
    Codec codec = Codec::kUnknown;
    bool settled = false;  // more bytes would tell nothing more
    std::optional<VideoDetails> video;
    std::optional<AudioDetails> audio;
};

// es: the first bytes of the elementary stream, PES payloads joined, from a unit start on; it may
// be cut anywhere. What the bytes say overrules what was declared.
CodecFacts read_codec(const DeclaredStream& stream, std::span<const uint8_t> es);

}  // namespace zv::survey
