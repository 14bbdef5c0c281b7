// SPDX-License-Identifier: MIT
// Implementation of codec_config.h.
#include "codec_config.h"

#include <array>

#include "avc_sps.h"
#include "bit_reader.h"

namespace zvprobe {
namespace {

constexpr std::array<uint32_t, 13> kAacRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                22050, 16000, 12000, 11025, 8000,  7350};
constexpr uint32_t kExplicitRate = 15;
constexpr uint32_t kEscapedObject = 31;

constexpr std::array<PictureSize, 7> kH263Sizes = {
    {{0, 0}, {0, 0}, {352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}}};

}  // namespace

std::optional<AacConfig> parse_aac_config(std::span<const uint8_t> config) {
    BitReader reader(config);
    AacConfig out = {};
    out.object_type = reader.bits(5);
    if (out.object_type == kEscapedObject) out.object_type = 32 + reader.bits(6);
    const uint32_t index = reader.bits(4);
    if (index == kExplicitRate)
        out.sample_rate = reader.bits(24);
    else if (index < kAacRates.size())
        out.sample_rate = kAacRates[index];
    out.channels = reader.bits(4);
    if (out.channels == 7) out.channels = 8;  // the one value that is no count
    if (reader.overrun() || out.sample_rate == 0) return std::nullopt;
    return out;
}

std::optional<AvcConfig> parse_avc_config(std::span<const uint8_t> config) {
    constexpr size_t kFixedSize = 6;
    constexpr uint8_t kVersion = 1;
    if (config.size() < kFixedSize || config[0] != kVersion) return std::nullopt;
    AvcConfig out = {config[1], config[3], std::nullopt};
    const bool has_sps = (config[5] & 0x1F) != 0;
    if (!has_sps || config.size() < kFixedSize + 2) return out;
    const auto rest = config.subspan(kFixedSize + 2);
    const auto length = static_cast<size_t>(config[6] << 8 | config[7]);
    if (length <= rest.size()) out.size = parse_avc_size(rest.first(length));
    return out;
}

std::optional<PictureSize> parse_h263_size(std::span<const uint8_t> picture) {
    BitReader reader(picture);
    if (reader.bits(17) != 1) return std::nullopt;  // start code
    reader.bits(5 + 8);                             // version, temporal reference
    const uint32_t code = reader.bits(3);
    PictureSize size = {};
    if (code < 2) {
        size.width = reader.bits(code == 0 ? 8 : 16);
        size.height = reader.bits(code == 0 ? 8 : 16);
    } else if (code < kH263Sizes.size()) {
        size = kH263Sizes[code];
    }
    if (reader.overrun() || size.width == 0 || size.height == 0) return std::nullopt;
    return size;
}

std::string aac_object_name(uint32_t object_type) {
    switch (object_type) {
        case 1:
            return "Main";
        case 2:
            return "LC";
        case 3:
            return "SSR";
        case 4:
            return "LTP";
        case 5:
            return "LC with SBR";
        case 29:
            return "LC with SBR and PS";
        default:
            return "object type " + std::to_string(object_type);
    }
}

std::string avc_profile_name(uint8_t profile) {
    switch (profile) {
        case 66:
            return "Baseline";
        case 77:
            return "Main";
        case 88:
            return "Extended";
        case 100:
            return "High";
        case 110:
            return "High 10";
        case 122:
            return "High 4:2:2";
        case 244:
            return "High 4:4:4 Predictive";
        default:
            return "profile " + std::to_string(profile);
    }
}

}  // namespace zvprobe
