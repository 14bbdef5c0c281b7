// SPDX-License-Identifier: MIT
// MPEG-1 and MPEG-2 video (ISO/IEC 11172-2, 13818-2): sequence header, sequence extension, and the
// first picture coding extension, which tells progressive frames of sequences that allow fields.
#include <array>

#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

constexpr uint8_t kUserData = 0xB2;
constexpr uint8_t kSequenceHeader = 0xB3;
constexpr uint8_t kExtension = 0xB5;
constexpr uint32_t kSequenceExtension = 1;
constexpr uint32_t kPictureCodingExtension = 8;

constexpr std::array<double, 9> kFrameRates = {0,  24000.0 / 1001, 24, 25, 30000.0 / 1001, 30,
                                               50, 60000.0 / 1001, 60};

const char* profile_name(uint32_t profile_and_level) {
    constexpr std::array<const char*, 8> kProfiles = {
        nullptr, "High", "Spatially Scalable", "SNR Scalable", "Main", "Simple", nullptr, nullptr};
    switch (profile_and_level) {
        case 0x82:
        case 0x85:
            return "4:2:2";
        case 0x8A:
        case 0x8B:
        case 0x8D:
        case 0x8E:
            return "Multi-view";
        default:
            return profile_and_level < 0x80 ? kProfiles[profile_and_level >> 4] : nullptr;
    }
}

const char* level_name(uint32_t profile_and_level) {
    const bool escaped = profile_and_level >= 0x80;  // level in other codes (Table 8-4)
    switch (profile_and_level & 0xF) {
        case 2:
            return escaped ? "High" : nullptr;
        case 4:
            return escaped ? nullptr : "High";
        case 5:
            return escaped ? "Main" : nullptr;
        case 6:
            return escaped ? nullptr : "High 1440";
        case 8:
            return escaped ? nullptr : "Main";
        case 10:
            return escaped ? "High" : "Low";
        case 11:
            return escaped ? "High 1440" : nullptr;
        case 13:
            return escaped ? "Main" : nullptr;
        case 14:
            return escaped ? "Low" : nullptr;
        default:
            return nullptr;
    }
}

// unit: from its start code's last byte on, like all units here.
bool read_sequence_header(std::span<const uint8_t> unit, VideoDetails& details) {
    BitReader reader(unit.subspan(1));
    const uint32_t width = reader.bits(12);
    const uint32_t height = reader.bits(12);
    reader.skip(4);  // aspect_ratio_information
    const uint32_t frame_rate_code = reader.bits(4);
    reader.skip(18);  // bit_rate_value
    const bool marker = reader.flag();
    if (reader.overrun() || !marker || width == 0 || height == 0) return false;
    details.width = width;
    details.height = height;
    details.frame_rate = frame_rate_code < kFrameRates.size() ? kFrameRates[frame_rate_code] : 0;
    details.chroma = chroma_name(1);
    details.bit_depth = 8;
    details.interlaced = 0;
    return true;
}

bool read_sequence_extension(std::span<const uint8_t> unit, VideoDetails& details) {
    BitReader reader(unit.subspan(1));
    if (reader.bits(4) != kSequenceExtension) return false;
    const uint32_t profile_and_level = reader.bits(8);
    const bool progressive_sequence = reader.flag();
    const uint32_t chroma_format = reader.bits(2);
    const uint32_t width_extension = reader.bits(2) << 12;
    const uint32_t height_extension = reader.bits(2) << 12;
    reader.skip(12 + 1 + 8 + 1);  // bit rate, marker, VBV size, low_delay
    const uint32_t rate_numerator = reader.bits(2) + 1;
    const uint32_t rate_denominator = reader.bits(5) + 1;
    if (reader.overrun()) return false;
    set_text(details.profile, profile_name(profile_and_level));
    set_text(details.level, level_name(profile_and_level));
    details.interlaced = progressive_sequence ? 0 : 1;
    details.chroma = chroma_format == 0 ? nullptr : chroma_name(chroma_format);
    details.width |= width_extension;
    details.height |= height_extension;
    details.frame_rate = details.frame_rate * rate_numerator / rate_denominator;
    return true;
}

std::optional<bool> read_progressive_frame(std::span<const uint8_t> unit) {
    constexpr size_t kProgressiveFrame = 32;  // bits before it
    BitReader reader(unit.subspan(1));
    if (reader.bits(4) != kPictureCodingExtension) return std::nullopt;
    reader.skip(kProgressiveFrame - 4);
    const bool progressive = reader.flag();
    return reader.overrun() ? std::nullopt : std::optional(progressive);
}

}  // namespace

std::optional<Mpeg12Facts> read_mpeg12_video(std::span<const uint8_t> es) {
    Mpeg12Facts facts = {};
    bool found = false;
    StartCodes units(es);
    while (const auto unit = units.next()) {
        const uint8_t code = unit->bytes[0];
        if (!found) {
            found =
                code == kSequenceHeader && read_sequence_header(unit->bytes, facts.video.details);
            continue;
        }
        if (code == kExtension && !facts.mpeg2) {
            facts.mpeg2 = read_sequence_extension(unit->bytes, facts.video.details);
            facts.video.settled = facts.mpeg2 && facts.video.details.interlaced == 0;
        } else if (code == kExtension) {
            const auto progressive = read_progressive_frame(unit->bytes);
            if (!progressive) continue;
            if (*progressive) facts.video.details.interlaced = 0;
            facts.video.settled = true;
        } else if (!facts.mpeg2 && code != kUserData) {
            facts.video.settled = true;  // the extension follows at once, or this is MPEG-1
        }
        if (facts.video.settled) return facts;
    }
    return found ? std::optional(facts) : std::nullopt;
}

}  // namespace zv::survey
