// SPDX-License-Identifier: MIT
// AV1: sequence header. Transport streams carry its units (OBU) after start codes, with emulation
// prevention, or as they are, each with its size; both are read.
// Members are read under their names in the AV1 bitstream format.
#include <algorithm>
#include <array>

#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

constexpr uint32_t kSequenceHeader = 1;
constexpr uint32_t kMaxTypes = 9;  // 1 to 8 and 15 are in use
constexpr uint32_t kPadding = 15;

uint64_t read_leb128(BitReader& reader) {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
        const uint64_t byte = reader.bits(8);
        value |= (byte & 0x7F) << (i * 7);
        if ((byte & 0x80) == 0) return value;
    }
    return reader.fail();
}

void read_timing(BitReader& reader, VideoDetails& details) {
    const double num_units_in_display_tick = reader.bits(32);
    const double time_scale = reader.bits(32);
    if (!reader.flag()) return;  // equal_picture_interval
    const double ticks_per_picture = 1.0 + reader.ue();
    const double units = num_units_in_display_tick * ticks_per_picture;
    if (units > 0) details.frame_rate = plausible_frame_rate(time_scale / units);
}

void set_av1_level(VideoDetails& details, uint32_t seq_level_idx) {
    constexpr uint32_t kMaximumParameters = 31;
    if (seq_level_idx != kMaximumParameters)
        set_level(details, 2 + (seq_level_idx >> 2), seq_level_idx & 3);
}

void read_operating_points(BitReader& reader, VideoDetails& details) {
    int buffer_delay_length = 0;
    if (reader.flag()) {  // timing_info_present_flag
        read_timing(reader, details);
        if (reader.flag()) {  // decoder_model_info_present_flag
            buffer_delay_length = static_cast<int>(reader.bits(5)) + 1;
            reader.skip(32 + 5 + 5);
        }
    }
    const bool initial_display_delay = reader.flag();
    const uint32_t points = reader.bits(5) + 1;
    for (uint32_t i = 0; i < points; ++i) {
        reader.skip(12);  // operating_point_idc
        const uint32_t seq_level_idx = reader.bits(5);
        if (i == 0) set_av1_level(details, seq_level_idx);
        if (seq_level_idx > 7) reader.bit();  // seq_tier
        if (buffer_delay_length > 0 && reader.flag())
            reader.skip(static_cast<size_t>(buffer_delay_length) * 2 + 1);
        if (initial_display_delay && reader.flag()) reader.skip(4);
    }
}

void read_size(BitReader& reader, VideoDetails& details) {
    const int width_bits = static_cast<int>(reader.bits(4)) + 1;
    const int height_bits = static_cast<int>(reader.bits(4)) + 1;
    details.width = reader.bits(width_bits) + 1;
    details.height = reader.bits(height_bits) + 1;
}

void skip_frame_tools(BitReader& reader) {
    reader.skip(4);  // interintra, masked, warped, dual filter
    const bool order_hint = reader.flag();
    if (order_hint) reader.skip(2);
    const bool choose_screen_content = reader.flag();
    const bool screen_content = choose_screen_content || reader.flag();
    if (screen_content && !reader.flag()) reader.bit();  // seq_force_integer_mv
    if (order_hint) reader.skip(3);
}

// -> chroma_format_idc as others count it
uint32_t read_subsampling(BitReader& reader, uint32_t seq_profile, uint32_t bit_depth) {
    if (seq_profile == 0) return 1;
    if (seq_profile == 1) return 3;
    if (bit_depth < 12) return 2;
    if (!reader.flag()) return 3;
    return reader.flag() ? 1 : 2;
}

void read_color_config(BitReader& reader, uint32_t seq_profile, VideoDetails& details) {
    constexpr uint32_t kSrgb = 1u << 16 | 13u << 8 | 0;  // primaries, transfer, matrix
    const bool high_bitdepth = reader.flag();
    const bool twelve_bit = seq_profile == 2 && high_bitdepth && reader.flag();
    const uint32_t depth = twelve_bit ? 12 : high_bitdepth ? 10 : 8;
    const bool mono_chrome = seq_profile != 1 && reader.flag();
    const uint32_t description = reader.flag() ? reader.bits(24) : 0;
    uint32_t chroma = 0;
    if (!mono_chrome && description == kSrgb) {
        chroma = 3;
    } else if (!mono_chrome) {
        reader.bit();  // color_range
        chroma = read_subsampling(reader, seq_profile, depth);
    }
    details.bit_depth = static_cast<uint8_t>(depth);
    details.chroma = chroma_name(chroma);
}

std::optional<VideoDetails> read_sequence_header(std::span<const uint8_t> payload) {
    constexpr std::array kProfiles = {"Main", "High", "Professional"};
    BitReader reader(payload);
    VideoDetails details;
    details.interlaced = 0;
    const uint32_t seq_profile = reader.bits(3);
    if (seq_profile >= kProfiles.size()) return std::nullopt;
    set_text(details.profile, kProfiles[seq_profile]);
    reader.bit();  // still_picture
    const bool reduced = reader.flag();
    if (reduced)
        set_av1_level(details, reader.bits(5));
    else
        read_operating_points(reader, details);
    read_size(reader, details);
    if (!reduced && reader.flag()) reader.skip(4 + 3);  // frame id lengths
    reader.skip(3);                                     // superblock size, filter intra, intra edge
    if (!reduced) skip_frame_tools(reader);
    reader.skip(3);  // superres, cdef, restoration
    read_color_config(reader, seq_profile, details);
    return reader.overrun() ? std::nullopt : std::optional(details);
}

struct Obu {
    uint32_t type;
    std::span<const uint8_t> payload;
    size_t size;  // header included
};

// bytes: one unit that ends with them, unless it has its size; a cut one is given as far as it goes
std::optional<Obu> read_obu(std::span<const uint8_t> bytes) {
    BitReader reader(bytes);
    const bool forbidden = reader.flag();
    const uint32_t type = reader.bits(4);
    const bool extension = reader.flag();
    const bool has_size = reader.flag();
    const bool reserved = reader.flag();
    if (extension) reader.skip(8);
    const uint64_t size = has_size ? read_leb128(reader) : reader.left() / 8;
    if (reader.overrun() || forbidden || reserved) return std::nullopt;
    if (type == 0 || (type >= kMaxTypes && type != kPadding)) return std::nullopt;
    const auto rest = bytes.subspan(reader.position() / 8);
    const auto payload = rest.first(static_cast<size_t>(std::min<uint64_t>(size, rest.size())));
    return Obu{type, payload, reader.position() / 8 + payload.size()};
}

std::optional<VideoFacts> facts_of(const Obu& obu) {
    if (obu.type != kSequenceHeader) return std::nullopt;
    const auto details = read_sequence_header(obu.payload);
    return details ? std::optional(VideoFacts{*details, true}) : std::nullopt;
}

std::optional<VideoFacts> read_escaped_units(std::span<const uint8_t> es) {
    StartCodes units(es);
    while (const auto unit = units.next()) {
        const UnescapedUnit unescaped(unit->bytes);
        const auto obu = read_obu(unescaped.bytes());
        if (!obu) continue;
        if (const auto facts = facts_of(*obu)) return facts;
    }
    return std::nullopt;
}

}  // namespace

std::optional<VideoFacts> read_av1(std::span<const uint8_t> es) {
    if (begins_with_start_code(es)) return read_escaped_units(es);
    while (!es.empty()) {
        const auto obu = read_obu(es);
        if (!obu) return std::nullopt;
        if (const auto facts = facts_of(*obu)) return facts;
        es = es.subspan(obu->size);
    }
    return std::nullopt;
}

}  // namespace zv::survey
