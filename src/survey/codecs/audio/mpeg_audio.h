// SPDX-License-Identifier: MIT
// MPEG audio frame headers (ISO/IEC 11172-3, 2.4.1.3, ISO/IEC 13818-3 and the 2.5 extension).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zv::survey {

struct MpegAudioHeader {
    enum class Version { k1, k2, k25 };
    enum class Mode { kStereo, kJointStereo, kDualChannel, kMono };

    static constexpr size_t kSize = 4;
    static constexpr size_t kMaxFrame = 2881;  // Layer II, 160 kbit/s at 8 kHz, padded

    Version version;
    int layer;             // 1..3
    uint32_t bitrate;      // kbit/s
    uint32_t sample_rate;  // Hz
    bool padding;
    bool crc;
    Mode mode;

    size_t frame_size() const;  // bytes, header included
    uint32_t samples() const;   // for each channel

    // -> true when both can be frames of one stream
    bool continues(const MpegAudioHeader& other) const;
};

// -> nothing when no frame begins there; that of a frame at a free bit rate does not tell its size,
//    and counts as none
std::optional<MpegAudioHeader> parse_mpeg_audio_header(std::span<const uint8_t> bytes);

// -> "MPEG-1", and "joint stereo"
const char* version_name(MpegAudioHeader::Version version);
const char* mode_name(MpegAudioHeader::Mode mode);

}  // namespace zv::survey
