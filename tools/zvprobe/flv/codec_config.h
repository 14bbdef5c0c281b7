// SPDX-License-Identifier: MIT
// What FLV tags say about their codecs, as the reports show it. The configuration of AAC and the
// sets in that of AVC (ISO/IEC 14496-15, 5.2.4.1) are read by the parsers of src/survey/codecs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zvprobe {

struct AacConfig {
    uint32_t object_type;  // 5 and 29 with SBR and PS, wherever they are told
    std::string object_name;
    uint32_t sample_rate;  // Hz, after decoding, as the channels
    uint32_t channels;     // 0 unknown
};

struct PictureSize {
    uint32_t width;
    uint32_t height;
};

struct AvcConfig {
    uint8_t profile;
    std::string profile_name;
    uint8_t level;  // times 10
    std::string level_name;
    std::optional<PictureSize> size;  // from the first sequence parameter set
};

// -> nothing when the bytes are no such configuration. Profiles and object types without a name
//    are named by their number.
std::optional<AacConfig> parse_aac_config(std::span<const uint8_t> config);
std::optional<AvcConfig> parse_avc_config(std::span<const uint8_t> config);

// The size in the header of a Sorenson H.263 picture, which is what FLV calls codec 2.
std::optional<PictureSize> parse_h263_size(std::span<const uint8_t> picture);

}  // namespace zvprobe
