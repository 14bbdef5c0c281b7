// SPDX-License-Identifier: MIT
// What FLV tags say about their codecs: the configuration of AAC (ISO/IEC 14496-3, 1.6.2.1) and of
// AVC (ISO/IEC 14496-15, 5.2.4.1), and the size of a picture.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zvprobe {

struct AacConfig {
    uint32_t object_type;  // 2 = LC
    uint32_t sample_rate;  // Hz, of the core coder
    uint32_t channels;     // 0 when they are described elsewhere
};

struct PictureSize {
    uint32_t width;
    uint32_t height;
};

struct AvcConfig {
    uint8_t profile;
    uint8_t level;                    // times 10
    std::optional<PictureSize> size;  // from the first sequence parameter set
};

// -> nothing when the bytes are no such configuration
std::optional<AacConfig> parse_aac_config(std::span<const uint8_t> config);
std::optional<AvcConfig> parse_avc_config(std::span<const uint8_t> config);

// The size in the header of a Sorenson H.263 picture, which is what FLV calls codec 2.
std::optional<PictureSize> parse_h263_size(std::span<const uint8_t> picture);

// -> "LC", "High"; the number for one without a name here
std::string aac_object_name(uint32_t object_type);
std::string avc_profile_name(uint8_t profile);

}  // namespace zvprobe
