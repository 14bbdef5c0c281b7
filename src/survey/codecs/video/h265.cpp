// SPDX-License-Identifier: MIT
// H.265 (ISO/IEC 23008-2): video and sequence parameter sets. Members are read under their names in
// the standard.
#include <algorithm>
#include <array>

#include "bitStream/big_endian.h"
#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

constexpr size_t kNalHeader = 2;  // bytes
constexpr uint32_t kVideoParameterSet = 32;
constexpr uint32_t kSequenceParameterSet = 33;

// -> 0 for a profile without a name
const char* profile_name(uint32_t profile_idc) {
    switch (profile_idc) {
        case 1:
            return "Main";
        case 2:
            return "Main 10";
        case 3:
            return "Main Still Picture";
        case 4:
            return "Rext";
        case 6:
            return "Multiview Main";
        case 7:
            return "Scalable Main";
        case 9:
            return "Scc";
        default:
            return nullptr;
    }
}

// An encoder that leaves general_profile_idc at 0 tells the profile by compatibility flags.
uint32_t effective_profile(uint32_t profile_idc, uint32_t compatibility) {
    for (uint32_t idc = 1; profile_idc == 0 && idc < 10; ++idc)
        if ((compatibility >> (31 - idc) & 1) != 0) return idc;
    return profile_idc;
}

void read_profile_tier_level(BitReader& reader, uint32_t max_sub_layers_minus1,
                             VideoDetails& details) {
    reader.skip(2 + 1);  // general_profile_space, general_tier_flag
    const uint32_t profile_idc = reader.bits(5);
    set_text(details.profile, profile_name(effective_profile(profile_idc, reader.bits(32))));
    reader.skip(48);  // source flags and constraints
    const uint32_t level = reader.bits(8);
    set_level(details, level / 30, level % 30 / 3);
    std::array<uint32_t, 8> present = {};
    for (uint32_t i = 0; i < max_sub_layers_minus1; ++i)
        present[i] = reader.bits(2);
    if (max_sub_layers_minus1 > 0) reader.skip(size_t{2} * (8 - max_sub_layers_minus1));
    for (uint32_t i = 0; i < max_sub_layers_minus1; ++i)
        reader.skip(((present[i] & 2) != 0 ? 88u : 0u) + ((present[i] & 1) != 0 ? 8u : 0u));
}

void skip_sub_layer_ordering(BitReader& reader, uint32_t max_sub_layers_minus1) {
    const bool each = reader.flag();
    for (uint32_t i = each ? 0 : max_sub_layers_minus1; i <= max_sub_layers_minus1; ++i)
        reader.skip_ue(3);
}

// -> ticks a second, 0 unknown
double read_timing(BitReader& reader) {
    const double num_units_in_tick = reader.bits(32);
    const double time_scale = reader.bits(32);
    if (reader.overrun() || num_units_in_tick == 0) return 0;
    return plausible_frame_rate(time_scale / num_units_in_tick);
}

// The picture rate of a video parameter set, 0 unknown.
double read_vps_rate(std::span<const uint8_t> nal_unit) {
    const UnescapedUnit payload(nal_unit.subspan(kNalHeader));
    BitReader reader(payload.bytes());
    reader.skip(4 + 2 + 6);  // vps_video_parameter_set_id, base layer flags, vps_max_layers_minus1
    const uint32_t max_sub_layers_minus1 = reader.bits(3);
    reader.skip(1 + 16);  // vps_temporal_id_nesting_flag, 0xFFFF
    VideoDetails ignored;
    read_profile_tier_level(reader, max_sub_layers_minus1, ignored);
    skip_sub_layer_ordering(reader, max_sub_layers_minus1);
    const uint32_t max_layer_id = reader.bits(6);
    const uint32_t layer_sets_minus1 = reader.ue();
    for (uint32_t i = 0; i < layer_sets_minus1 && !reader.overrun(); ++i)
        reader.skip(max_layer_id + 1);
    return reader.flag() ? read_timing(reader) : 0;
}

void skip_scaling_list_data(BitReader& reader) {
    for (int size_id = 0; size_id < 4; ++size_id) {
        for (int matrix_id = 0; matrix_id < 6; matrix_id += size_id == 3 ? 3 : 1) {
            if (!reader.flag()) {
                reader.ue();  // scaling_list_pred_matrix_id_delta
                continue;
            }
            if (size_id > 1) reader.ue();  // scaling_list_dc_coef_minus8
            reader.skip_ue(std::min(64u, 1u << (4 + size_id * 2)));
        }
    }
}

// -> NumDeltaPocs of the set
uint32_t skip_predicted_set(BitReader& reader, uint32_t deltas_before) {
    reader.bit();  // delta_rps_sign
    reader.ue();   // abs_delta_rps_minus1
    uint32_t deltas = 0;
    for (uint32_t i = 0; i <= deltas_before; ++i) {
        const bool used_by_curr_pic = reader.flag();
        if (used_by_curr_pic || reader.flag()) ++deltas;
    }
    return deltas;
}

uint32_t skip_explicit_set(BitReader& reader) {
    constexpr uint32_t kMaxPictures = 16;
    const uint32_t pictures =
        std::min(reader.ue(), kMaxPictures + 1) + std::min(reader.ue(), kMaxPictures + 1);
    if (pictures > kMaxPictures) return reader.fail();
    for (uint32_t i = 0; i < pictures; ++i) {
        reader.ue();   // delta_poc_minus1
        reader.bit();  // used_by_curr_pic_flag
    }
    return pictures;
}

void skip_short_term_reference_sets(BitReader& reader) {
    const uint32_t sets = reader.ue();
    uint32_t deltas = 0;
    for (uint32_t i = 0; i < sets && !reader.overrun(); ++i) {
        const bool predicted = i > 0 && reader.flag();
        deltas = predicted ? skip_predicted_set(reader, deltas) : skip_explicit_set(reader);
    }
}

// What lies between the size and the usability information.
void skip_coding_tools(BitReader& reader, uint32_t log2_max_poc_lsb) {
    reader.skip_ue(6);                   // block and transform sizes and depths
    if (reader.flag() && reader.flag())  // scaling_list_enabled_flag, own lists
        skip_scaling_list_data(reader);
    reader.skip(2);       // amp_enabled_flag, sample_adaptive_offset_enabled_flag
    if (reader.flag()) {  // pcm_enabled_flag
        reader.skip(4 + 4);
        reader.skip_ue(2);
        reader.bit();
    }
    skip_short_term_reference_sets(reader);
    if (reader.flag()) {  // long_term_ref_pics_present_flag
        const uint32_t pictures = reader.ue();
        for (uint32_t i = 0; i < pictures && !reader.overrun(); ++i)
            reader.skip(log2_max_poc_lsb + 1);
    }
    reader.skip(2);  // sps_temporal_mvp_enabled_flag, strong_intra_smoothing_enabled_flag
}

struct Vui {
    double picture_rate = 0;
    bool field_seq = false;
};

Vui read_vui(BitReader& reader) {
    Vui vui;
    skip_picture_appearance(reader);
    reader.bit();  // neutral_chroma_indication_flag
    vui.field_seq = reader.flag();
    reader.bit();                          // frame_field_info_present_flag
    if (reader.flag()) reader.skip_ue(4);  // default display window, which players leave alone
    if (reader.flag()) vui.picture_rate = read_timing(reader);
    return reader.overrun() ? Vui{} : vui;
}

bool read_size(BitReader& reader, VideoDetails& details) {
    const uint32_t chroma = reader.ue();
    if (chroma > 3) return false;
    const bool separate_planes = chroma == 3 && reader.flag();
    const uint32_t width = reader.ue();
    const uint32_t height = reader.ue();
    CropWindow crop = {0, 0};
    if (reader.flag()) {
        const CropWindow unit = crop_unit(separate_planes ? 0 : chroma);
        crop.horizontal = (uint64_t{reader.ue()} + reader.ue()) * unit.horizontal;
        crop.vertical = (uint64_t{reader.ue()} + reader.ue()) * unit.vertical;
    }
    const uint32_t depth = reader.ue() + 8;
    reader.ue();  // bit_depth_chroma_minus8
    details.chroma = chroma_name(chroma);
    details.bit_depth = static_cast<uint8_t>(depth);
    return depth <= 16 && !reader.overrun() && set_size(details, width, height, crop);
}

std::optional<VideoDetails> read_sps(std::span<const uint8_t> nal_unit, double vps_rate) {
    const UnescapedUnit payload(nal_unit.subspan(kNalHeader));
    BitReader reader(payload.bytes());
    VideoDetails details;
    reader.skip(4);  // sps_video_parameter_set_id
    const uint32_t max_sub_layers_minus1 = reader.bits(3);
    reader.bit();  // sps_temporal_id_nesting_flag
    read_profile_tier_level(reader, max_sub_layers_minus1, details);
    reader.ue();  // sps_seq_parameter_set_id
    if (!read_size(reader, details)) return std::nullopt;
    const uint32_t log2_max_poc_lsb = std::min(reader.ue(), 12u) + 4;
    skip_sub_layer_ordering(reader, max_sub_layers_minus1);
    skip_coding_tools(reader, log2_max_poc_lsb);
    const Vui vui = reader.flag() ? read_vui(reader) : Vui{};
    details.frame_rate = vui.picture_rate > 0 ? vui.picture_rate : vps_rate;
    details.interlaced = vui.field_seq ? 1 : 0;
    if (vui.field_seq) {  // each picture is a field
        details.height *= 2;
        details.frame_rate /= 2;
    }
    return details;
}

}  // namespace

std::optional<VideoFacts> read_h265(std::span<const uint8_t> es) {
    double vps_rate = 0;
    StartCodes units(es);
    while (const auto unit = units.next()) {
        if (unit->bytes.size() < kNalHeader) continue;
        const uint32_t header = load_be16(unit->bytes);
        const uint32_t type = header >> 9;
        const uint32_t layer = header >> 3 & 0x3F;
        if (layer != 0) continue;
        if (type == kVideoParameterSet) vps_rate = read_vps_rate(unit->bytes);
        if (type != kSequenceParameterSet) continue;
        if (const auto details = read_sps(unit->bytes, vps_rate))
            return VideoFacts{*details, unit->ended};
    }
    return std::nullopt;
}

}  // namespace zv::survey
