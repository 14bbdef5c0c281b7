// SPDX-License-Identifier: MIT
// Implementation of codec_config.h.
#include "flv/codec_config.h"

#include <array>

#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/video.h"

namespace zvprobe {
namespace {

constexpr uint32_t kSbr = 5;
constexpr uint32_t kPs = 29;

constexpr std::array<PictureSize, 7> kH263Sizes = {
    {{0, 0}, {0, 0}, {352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}}};

// -> the number with what it is, for what has no name
std::string name_or_number(const char* name, const char* what, uint32_t number) {
    return name != nullptr ? name : what + std::to_string(number);
}

std::string object_name(const zv::survey::AacConfig& config) {
    const char* const core = zv::survey::aac_object_name(config.object_type);
    return name_or_number(core, "object type ", config.object_type) + (config.ps
                                                                           ? " with SBR and PS"
                                                                       : config.sbr ? " with SBR"
                                                                                    : "");
}

std::string level_name(uint8_t profile, uint8_t constraints, uint8_t level) {
    zv::survey::VideoDetails details;
    zv::survey::set_h264_level(details, profile, constraints, level);
    return details.level;
}

// -> of the first set of an AVC configuration, from where its length stands on
std::optional<PictureSize> first_set_size(std::span<const uint8_t> sets) {
    constexpr size_t kLength = 2;
    if (sets.size() < kLength) return std::nullopt;
    const auto rest = sets.subspan(kLength);
    const auto length = static_cast<size_t>(sets[0] << 8 | sets[1]);
    if (length > rest.size()) return std::nullopt;
    const auto details = zv::survey::read_h264_sps(rest.first(length));
    if (!details) return std::nullopt;
    return PictureSize{details->width, details->height};
}

}  // namespace

std::optional<AacConfig> parse_aac_config(std::span<const uint8_t> config) {
    const auto read = zv::survey::read_whole_aac_config(zv::survey::BitReader(config));
    if (!read) return std::nullopt;
    const auto details = zv::survey::aac_details(*read);
    const uint32_t object_type = read->ps ? kPs : read->sbr ? kSbr : read->object_type;
    return AacConfig{object_type, object_name(*read), details.sample_rate, details.channels};
}

std::optional<AvcConfig> parse_avc_config(std::span<const uint8_t> config) {
    constexpr size_t kFixedSize = 6;
    constexpr uint8_t kVersion = 1;
    if (config.size() < kFixedSize || config[0] != kVersion) return std::nullopt;
    const uint8_t profile = config[1];
    const uint8_t constraints = config[2];
    const uint8_t level = config[3];
    const char* const profile_name = zv::survey::h264_profile_name(profile, constraints);
    AvcConfig out = {profile, name_or_number(profile_name, "profile ", profile), level,
                     level_name(profile, constraints, level), std::nullopt};
    const bool has_set = (config[5] & 0x1F) != 0;
    if (has_set) out.size = first_set_size(config.subspan(kFixedSize));
    return out;
}

std::optional<PictureSize> parse_h263_size(std::span<const uint8_t> picture) {
    zv::survey::BitReader reader(picture);
    if (reader.bits(17) != 1) return std::nullopt;  // start code
    reader.skip(5 + 8);                             // version, temporal reference
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

}  // namespace zvprobe
