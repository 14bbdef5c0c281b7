// SPDX-License-Identifier: MIT
// MPEG-4 Visual (ISO/IEC 14496-2): profile of the visual object sequence, video object layer.
#include <cstdio>

#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

constexpr uint8_t kFirstLayer = 0x20;
constexpr uint8_t kLastLayer = 0x2F;
constexpr uint8_t kObjectSequence = 0xB0;
constexpr uint32_t kRectangular = 0;

struct NamedProfile {
    uint8_t first, last;  // profile_and_level_indication (Table G.1)
    uint8_t first_level;
    const char* name;
};

constexpr NamedProfile kProfiles[] = {
    {0x01, 0x06, 1, "Simple Profile"},
    {0x08, 0x08, 0, "Simple Profile"},
    {0x09, 0x09, 0, "Simple Profile"},
    {0x10, 0x10, 0, "Simple Scalable Profile"},
    {0x11, 0x12, 1, "Simple Scalable Profile"},
    {0x21, 0x22, 1, "Core Profile"},
    {0x32, 0x34, 2, "Main Profile"},
    {0x42, 0x42, 2, "N-bit Profile"},
    {0xB1, 0xB4, 1, "Advanced Coding Profile"},
    {0xE1, 0xE4, 1, "Simple Studio Profile"},
    {0xE5, 0xE8, 1, "Core Studio Profile"},
    {0xF0, 0xF5, 0, "Advanced Simple Profile"},
};

void set_profile(uint8_t indication, VideoDetails& details) {
    for (const NamedProfile& profile : kProfiles) {
        if (indication < profile.first || indication > profile.last) continue;
        set_text(details.profile, profile.name);
        const unsigned level = profile.first_level + (unsigned{indication} - profile.first);
        snprintf(details.level, sizeof details.level, "%u", level);
    }
}

// -> chroma_format
uint32_t read_control_parameters(BitReader& reader) {
    const uint32_t chroma_format = reader.bits(2);
    reader.bit();                        // low_delay
    if (reader.flag()) reader.skip(79);  // rate and buffer of the video buffering verifier
    return chroma_format;
}

int bits_below(uint32_t resolution) {  // that hold 0 to resolution - 1, at least one
    int bits = 1;
    while (bits < 16 && (1u << bits) < resolution)
        ++bits;
    return bits;
}

double read_rate(BitReader& reader) {
    const uint32_t resolution = reader.bits(16);  // vop_time_increment_resolution
    reader.bit();                                 // marker
    const bool fixed = reader.flag();
    const uint32_t increment = fixed ? reader.bits(bits_below(resolution)) : 1;
    return increment > 0 ? plausible_frame_rate(static_cast<double>(resolution) / increment) : 0;
}

bool read_layer(std::span<const uint8_t> unit, VideoDetails& details) {
    constexpr uint32_t kExtendedPar = 15;
    BitReader reader(unit.subspan(1));
    reader.skip(1 + 8);                     // random_accessible_vol, type indication
    if (reader.flag()) reader.skip(4 + 3);  // version, priority
    if (reader.bits(4) == kExtendedPar) reader.skip(8 + 8);
    const uint32_t chroma_format = reader.flag() ? read_control_parameters(reader) : 1;
    if (reader.bits(2) != kRectangular) return false;
    const bool first_marker = reader.flag();
    details.frame_rate = read_rate(reader);
    const bool second_marker = reader.flag();
    details.width = reader.bits(13);
    const bool third_marker = reader.flag();
    details.height = reader.bits(13);
    reader.bit();  // marker
    details.interlaced = reader.flag() ? 1 : 0;
    details.bit_depth = 8;
    details.chroma = chroma_name(chroma_format);
    return !reader.overrun() && first_marker && second_marker && third_marker &&
           details.width > 0 && details.height > 0;
}

}  // namespace

std::optional<VideoFacts> read_mpeg4_video(std::span<const uint8_t> es) {
    VideoDetails details;
    StartCodes units(es);
    while (const auto unit = units.next()) {
        const uint8_t code = unit->bytes[0];
        if (code == kObjectSequence && unit->bytes.size() > 1) set_profile(unit->bytes[1], details);
        if (code < kFirstLayer || code > kLastLayer) continue;
        if (read_layer(unit->bytes, details)) return VideoFacts{details, true};
    }
    return std::nullopt;
}

}  // namespace zv::survey
