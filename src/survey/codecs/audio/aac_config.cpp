// SPDX-License-Identifier: MIT
// Implementation of aac_config.h. Members are read under their names in the standard.
#include "survey/codecs/audio/aac_config.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "survey/codecs/descriptors.h"

namespace zv::survey {
namespace {

constexpr uint32_t kLowComplexity = 2;
constexpr uint32_t kSbr = 5;
constexpr uint32_t kErrorResilientBsac = 22;
constexpr uint32_t kPs = 29;
constexpr uint32_t kEscapedObject = 31;
constexpr uint32_t kExplicitRate = 15;

constexpr uint32_t kMaxRateBelowSbr = 24000;  // Hz; SBR doubles it

constexpr std::array<uint32_t, 13> kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                             22050, 16000, 12000, 11025, 8000,  7350};
constexpr std::array<uint8_t, 15> kChannels = {0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8};

uint32_t read_object_type(BitReader& reader) {
    const uint32_t type = reader.bits(5);
    return type == kEscapedObject ? 32 + reader.bits(6) : type;
}

uint32_t read_sample_rate(BitReader& reader) {
    const uint32_t index = reader.bits(4);
    return index == kExplicitRate ? reader.bits(24) : aac_sample_rate(index);
}

bool is_general_audio(uint32_t object_type) {
    constexpr uint32_t kMask = 1u << 1 | 1u << 2 | 1u << 3 | 1u << 4 | 1u << 6 | 1u << 7 |
                               1u << 17 | 1u << 19 | 1u << 20 | 1u << 21 | 1u << 22 | 1u << 23;
    return object_type < 32 && (kMask >> object_type & 1) != 0;
}

void read_general_audio(BitReader& reader, uint32_t channel_configuration, AacConfig& config) {
    reader.bit();                        // frameLengthFlag
    if (reader.flag()) reader.skip(14);  // coreCoderDelay
    const bool extension = reader.flag();
    if (channel_configuration == 0) config.channels = read_program_config_channels(reader);
    if (config.object_type == 6 || config.object_type == 20) reader.skip(3);  // layerNr
    if (!extension) return;
    if (config.object_type == kErrorResilientBsac) reader.skip(5 + 11);
    if (config.object_type == 17 ||
        (config.object_type >= 19 && config.object_type <= 23 &&
         config.object_type != kErrorResilientBsac && config.object_type != 21))
        reader.skip(3);  // resilience flags
    reader.bit();        // extensionFlag3
}

// Told after the core's members, so that old decoders do not see it.
void read_sync_extension(BitReader& reader, AacConfig& config) {
    constexpr uint32_t kSbrSync = 0x2B7;
    constexpr uint32_t kPsSync = 0x548;
    if (reader.left() < 16 || reader.bits(11) != kSbrSync) return;
    if (read_object_type(reader) != kSbr || !reader.flag()) return;
    const uint32_t rate = read_sample_rate(reader);
    if (reader.overrun() || rate == 0) return;
    config.sbr = true;
    config.sample_rate = rate;
    config.ps = reader.left() >= 12 && reader.bits(11) == kPsSync && reader.flag();
}

void set_profile(AudioDetails& details, const char* name) {
    if (name != nullptr) snprintf(details.profile, sizeof details.profile, "%s", name);
}

}  // namespace

const char* aac_object_name(uint32_t object_type) {
    switch (object_type) {
        case 1:
            return "Main";
        case kLowComplexity:
            return "LC";
        case 3:
            return "SSR";
        case 4:
            return "LTP";
        case 17:
            return "ER LC";
        case 23:
            return "LD";
        case 39:
            return "ELD";
        case 42:
            return "xHE-AAC";
        default:
            return nullptr;
    }
}

uint32_t aac_sample_rate(uint32_t sampling_frequency_index) {
    return sampling_frequency_index < kRates.size() ? kRates[sampling_frequency_index] : 0;
}

uint8_t aac_channels(uint32_t channel_configuration) {
    return channel_configuration < kChannels.size() ? kChannels[channel_configuration] : 0;
}

uint8_t read_program_config_channels(BitReader& reader) {
    reader.skip(4 + 2 + 4);  // element_instance_tag, object_type, sampling_frequency_index
    const std::array counts = {reader.bits(4), reader.bits(4), reader.bits(4)};
    const uint32_t lfe = reader.bits(2);
    const uint32_t assoc_data = reader.bits(3);
    const uint32_t coupling = reader.bits(4);
    if (reader.flag()) reader.skip(4);  // mono_mixdown_element_number
    if (reader.flag()) reader.skip(4);  // stereo_mixdown_element_number
    if (reader.flag()) reader.skip(3);  // matrix_mixdown_idx, pseudo_surround_enable
    uint32_t channels = lfe;
    for (const uint32_t count : counts) {  // front, side, back
        for (uint32_t i = 0; i < count; ++i) {
            channels += reader.flag() ? 2U : 1U;
            reader.skip(4);
        }
    }
    reader.skip(size_t{4} * (lfe + assoc_data) + size_t{5} * coupling);
    reader.align();
    reader.skip(size_t{8} * reader.bits(8));  // comment_field_data
    return reader.overrun() ? 0 : static_cast<uint8_t>(channels);
}

std::optional<AacConfig> read_aac_config(BitReader& reader) {
    AacConfig config;
    config.object_type = read_object_type(reader);
    config.core_sample_rate = config.sample_rate = read_sample_rate(reader);
    const uint32_t channel_configuration = reader.bits(4);
    config.channels = aac_channels(channel_configuration);
    if (config.object_type == kSbr || config.object_type == kPs) {
        config.sbr = true;
        config.ps = config.object_type == kPs;
        config.sample_rate = read_sample_rate(reader);
        config.object_type = read_object_type(reader);
        if (config.object_type == kErrorResilientBsac) reader.skip(4);
    }
    if (reader.overrun() || config.core_sample_rate == 0 || config.sample_rate == 0)
        return std::nullopt;
    if (is_general_audio(config.object_type))
        read_general_audio(reader, channel_configuration, config);
    return config;
}

std::optional<AacConfig> read_whole_aac_config(BitReader reader) {
    auto config = read_aac_config(reader);
    if (config && !config->sbr && !reader.overrun()) read_sync_extension(reader, *config);
    return config;
}

AudioDetails aac_details(const AacConfig& config) {
    AudioDetails details;
    details.sample_rate = config.sample_rate;
    details.channels = config.ps && config.channels == 1 ? uint8_t{2} : config.channels;
    set_profile(details, config.ps    ? "HE-AACv2"
                         : config.sbr ? "HE-AAC"
                                      : aac_object_name(config.object_type));
    return details;
}

DeclaredAac declared_aac(std::span<const uint8_t> descriptors) {
    constexpr uint8_t kMpeg4Audio = 0x1C;
    constexpr uint8_t kDvbAac = 0x7C;
    DeclaredAac declared;
    Descriptors loop(descriptors);
    while (const auto descriptor = loop.next()) {
        if (descriptor->tag != kMpeg4Audio && descriptor->tag != kDvbAac) continue;
        if (descriptor->body.empty()) continue;
        // ISO/IEC 14496-3, table 1.14: high efficiency profiles, version 1 and 2.
        const uint8_t profile_and_level = descriptor->body[0];
        declared.ps |= profile_and_level >= 0x30 && profile_and_level <= 0x33;
        declared.sbr |= declared.ps || (profile_and_level >= 0x2C && profile_and_level <= 0x2F);
    }
    return declared;
}

bool may_have_implicit_sbr(const AacConfig& config) {
    return config.object_type == kLowComplexity && !config.sbr &&
           config.core_sample_rate <= kMaxRateBelowSbr;
}

void apply_declared_aac(DeclaredAac declared, AudioDetails& details) {
    const bool low_complexity = strcmp(details.profile, "LC") == 0;
    if (declared.sbr && low_complexity && details.sample_rate <= kMaxRateBelowSbr) {
        details.sample_rate *= 2;
        set_profile(details, "HE-AAC");
    }
    if (declared.ps && details.channels == 1 && strcmp(details.profile, "HE-AAC") == 0) {
        details.channels = 2;
        set_profile(details, "HE-AACv2");
    }
}

}  // namespace zv::survey
