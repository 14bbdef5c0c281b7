// SPDX-License-Identifier: MIT
// What the configurations in FLV tags, and the first bytes of frames without one, say of picture and
// sound, as the reports show it. Pictures and AAC are read by the parsers of src/survey/codecs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "flv/codecs/flv_codecs.h"
#include "survey/codecs/codec.h"

namespace zvprobe {

struct AacConfig {
    uint32_t object_type;  // 5 and 29 with SBR and PS, wherever they are told
    std::string object_name;
    uint32_t core_rate;    // Hz, of the core coder
    uint32_t sample_rate;  // Hz, after decoding, as the channels
    uint32_t channels;     // 0 unknown
};

struct AvcConfig {
    uint8_t profile;
    std::string profile_name;
    uint8_t level;  // times 10
    std::string level_name;
};

// -> nothing when the bytes are no such configuration. Profiles and object types without a name
//    are named by their number.
std::optional<AacConfig> parse_aac_config(std::span<const uint8_t> config);
std::optional<AvcConfig> parse_avc_config(std::span<const uint8_t> config);

// The picture as the first parameter set in a configuration of AVC, HEVC (ISO/IEC 14496-15, 5.3.3 and
// 8.3.3) or AV1 has it.
std::optional<zv::survey::VideoDetails> read_video_config(FlvMedia media,
                                                          std::span<const uint8_t> config);

struct SoundFormat {
    uint32_t sample_rate = 0;  // Hz, after decoding; 0 unknown
    uint32_t channels = 0;     // 0 unknown
};

// The sound of Opus (RFC 7845, 5.1) and FLAC as their configurations have it, and of MPEG audio and
// AC-3 as a frame has it. -> nothing when the bytes do not tell
std::optional<SoundFormat> read_audio_config(FlvMedia media, std::span<const uint8_t> config);
std::optional<SoundFormat> read_audio_frame(FlvMedia media, std::span<const uint8_t> frame);

}  // namespace zvprobe
