// SPDX-License-Identifier: MIT
// H.266 (ISO/IEC 23090-3): sequence parameter set. The frame rate stands almost at its end, after
// every coding tool; it is believed only when the trailing bits are where they should be.
// Members are read under their names in the standard.
#include <algorithm>
#include <array>

#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

constexpr size_t kNalHeader = 2;  // bytes
constexpr uint32_t kSequenceParameterSet = 15;

// Members on which later ones depend.
struct Sps {
    VideoDetails details;
    uint32_t video_parameter_set_id = 0;
    uint32_t max_sublayers_minus1 = 0;
    uint32_t chroma = 0;
    uint32_t log2_ctu_size = 0;
    bool has_ptl_dpb_hrd = false;
    uint32_t pic_width = 0;
    uint32_t pic_height = 0;
    uint32_t log2_max_poc_lsb = 0;
    bool transform_size_64 = false;
    bool transform_skip = false;
    bool lfnst = false;
    bool weighted_pred = false;
    bool long_term_ref_pics = false;
    bool inter_layer_prediction = false;
    double picture_rate = 0;
};

const char* profile_name(uint32_t profile_idc) {
    switch (profile_idc) {
        case 1:
            return "Main 10";
        case 2:
            return "Main 12";
        case 17:
            return "Multilayer Main 10";
        case 33:
            return "Main 10 4:4:4";
        case 34:
            return "Main 12 4:4:4";
        case 65:
            return "Main 10 Still Picture";
        case 97:
            return "Main 10 4:4:4 Still Picture";
        default:
            return nullptr;
    }
}

void skip_constraints(BitReader& reader) {
    if (reader.flag()) {              // gci_present_flag
        reader.skip(71);              // fixed constraint flags
        reader.skip(reader.bits(8));  // gci_num_additional_bits
    }
    reader.align();
}

void read_profile_tier_level(BitReader& reader, Sps& sps) {
    set_text(sps.details.profile, profile_name(reader.bits(7)));
    reader.bit();  // general_tier_flag
    const uint32_t level = reader.bits(8);
    set_level(sps.details, level / 16, level % 16 / 3);
    reader.skip(2);  // ptl_frame_only_constraint_flag, ptl_multilayer_enabled_flag
    skip_constraints(reader);
    uint32_t levels = 0;
    for (uint32_t i = 0; i < sps.max_sublayers_minus1; ++i)
        levels += reader.bit();  // ptl_sublayer_level_present_flag
    reader.align();
    reader.skip(size_t{8} * levels);
    reader.skip(size_t{32} * reader.bits(8));  // general_sub_profile_idc
}

bool read_size(BitReader& reader, Sps& sps) {
    reader.bit();                     // sps_gdr_enabled_flag
    if (reader.flag()) reader.bit();  // sps_res_change_in_clvs_allowed_flag
    sps.pic_width = reader.ue();
    sps.pic_height = reader.ue();
    CropWindow crop = {0, 0};
    if (reader.flag()) {
        const CropWindow unit = crop_unit(sps.chroma);
        crop.horizontal = (uint64_t{reader.ue()} + reader.ue()) * unit.horizontal;
        crop.vertical = (uint64_t{reader.ue()} + reader.ue()) * unit.vertical;
    }
    return !reader.overrun() && set_size(sps.details, sps.pic_width, sps.pic_height, crop);
}

int bits_for(uint32_t values) {  // Ceil(Log2(values))
    int bits = 0;
    while (bits < 31 && (1u << bits) < values)
        ++bits;
    return bits;
}

struct SubpictureLayout {
    uint32_t count_minus1;
    bool independent;
    bool same_size;
};

void skip_subpicture_places(BitReader& reader, const Sps& sps, SubpictureLayout layout) {
    const uint32_t ctb = 1u << sps.log2_ctu_size;
    const int x_bits = bits_for((sps.pic_width + ctb - 1) / ctb);
    const int y_bits = bits_for((sps.pic_height + ctb - 1) / ctb);
    for (uint32_t i = 0; i <= layout.count_minus1 && !reader.overrun(); ++i) {
        if (!layout.same_size || i == 0) {
            const bool wide = sps.pic_width > ctb;
            const bool high = sps.pic_height > ctb;
            if (i > 0 && wide) reader.bits(x_bits);
            if (i > 0 && high) reader.bits(y_bits);
            if (i < layout.count_minus1 && wide) reader.bits(x_bits);
            if (i < layout.count_minus1 && high) reader.bits(y_bits);
        }
        if (!layout.independent) reader.skip(2);
    }
}

void skip_subpictures(BitReader& reader, const Sps& sps) {
    constexpr uint32_t kMaxSubpictures = 1000;  // Table A.2: slices in an access unit
    SubpictureLayout layout = {reader.ue(), true, false};
    // Their places may take no bits at all, so that the end of the bytes would not end the loop.
    if (layout.count_minus1 >= kMaxSubpictures) {
        reader.fail();
        return;
    }
    if (layout.count_minus1 > 0) {
        layout.independent = reader.flag();
        layout.same_size = reader.flag();
        skip_subpicture_places(reader, sps, layout);
    }
    const uint32_t id_len = reader.ue() + 1;
    const bool explicit_mapping = reader.flag();
    if (explicit_mapping && reader.flag())
        for (uint32_t i = 0; i <= layout.count_minus1 && !reader.overrun(); ++i)
            reader.skip(id_len);
}

void skip_header_extra_bits(BitReader& reader) {
    reader.skip(size_t{8} * reader.bits(2));  // of picture headers
    reader.skip(size_t{8} * reader.bits(2));  // of slice headers
}

void skip_decoded_picture_buffer(BitReader& reader, const Sps& sps) {
    const bool each = sps.max_sublayers_minus1 > 0 && reader.flag();
    reader.skip_ue(3 * (each ? sps.max_sublayers_minus1 + 1 : 1));
}

// A depth and, where it is not 0, two sizes more.
void skip_partition_depth(BitReader& reader) {
    if (reader.ue() != 0) reader.skip_ue(2);
}

void skip_partition_constraints(BitReader& reader, const Sps& sps) {
    reader.ue();   // sps_log2_min_luma_coding_block_size_minus2
    reader.bit();  // sps_partition_constraints_override_enabled_flag
    reader.ue();   // sps_log2_diff_min_qt_min_cb_intra_slice_luma
    skip_partition_depth(reader);
    if (sps.chroma != 0 && reader.flag()) {  // sps_qtbtt_dual_tree_intra_flag
        reader.ue();
        skip_partition_depth(reader);
    }
    reader.ue();  // sps_log2_diff_min_qt_min_cb_inter_slice
    skip_partition_depth(reader);
}

void skip_chroma_tables(BitReader& reader) {
    const bool joint_cbcr = reader.flag();
    const bool same_table = reader.flag();
    const int tables = same_table ? 1 : joint_cbcr ? 3 : 2;
    for (int i = 0; i < tables; ++i) {
        reader.se();  // sps_qp_table_start_minus26
        const uint32_t points = reader.ue() + 1;
        for (uint32_t j = 0; j < points && !reader.overrun(); ++j)
            reader.skip_ue(2);
    }
}

void skip_transforms(BitReader& reader, Sps& sps) {
    sps.transform_size_64 = sps.log2_ctu_size > 5 && reader.flag();
    sps.transform_skip = reader.flag();
    if (sps.transform_skip) {
        reader.ue();   // sps_log2_transform_skip_max_size_minus2
        reader.bit();  // sps_bdpcm_enabled_flag
    }
    if (reader.flag()) reader.skip(2);  // explicit multiple transform selection
    sps.lfnst = reader.flag();
    if (sps.chroma != 0) skip_chroma_tables(reader);
}

void skip_filters_and_weights(BitReader& reader, Sps& sps) {
    reader.bit();  // sps_sao_enabled_flag
    const bool alf = reader.flag();
    if (alf && sps.chroma != 0) reader.bit();  // sps_ccalf_enabled_flag
    reader.bit();                              // sps_lmcs_enabled_flag
    sps.weighted_pred = reader.flag();
    sps.weighted_pred = reader.flag() || sps.weighted_pred;  // sps_weighted_bipred_flag
    sps.long_term_ref_pics = reader.flag();
}

void skip_reference_list(BitReader& reader, const Sps& sps) {
    const uint32_t entries = reader.ue();
    const bool in_header = sps.long_term_ref_pics && entries > 0 && reader.flag();
    for (uint32_t i = 0; i < entries && !reader.overrun(); ++i) {
        if (sps.inter_layer_prediction && reader.flag()) {
            reader.ue();  // ilrp_idx
            continue;
        }
        const bool short_term = !sps.long_term_ref_pics || reader.flag();
        if (short_term) {
            const bool as_coded = sps.weighted_pred && i > 0;
            const uint32_t abs_delta_poc_st = reader.ue();
            if (abs_delta_poc_st > 0 || !as_coded) reader.bit();  // strp_entry_sign_flag
        } else if (!in_header) {
            reader.skip(sps.log2_max_poc_lsb);
        }
    }
}

void skip_references(BitReader& reader, Sps& sps) {
    sps.inter_layer_prediction = sps.video_parameter_set_id > 0 && reader.flag();
    reader.bit();  // sps_idr_rpl_present_flag
    const int kinds = reader.flag() ? 1 : 2;
    for (int i = 0; i < kinds; ++i) {
        const uint32_t lists = reader.ue();
        for (uint32_t j = 0; j < lists && !reader.overrun(); ++j)
            skip_reference_list(reader, sps);
    }
}

void skip_affine(BitReader& reader, bool amvr) {
    reader.ue();                      // sps_five_minus_max_num_subblock_merge_cand
    reader.bit();                     // sps_6param_affine_enabled_flag
    if (amvr) reader.bit();           // sps_affine_amvr_enabled_flag
    if (reader.flag()) reader.bit();  // sps_prof_control_present_in_ph_flag
}

void skip_inter_tools(BitReader& reader) {
    reader.bit();                     // sps_ref_wraparound_enabled_flag
    if (reader.flag()) reader.bit();  // sps_sbtmvp_enabled_flag
    const bool amvr = reader.flag();
    if (reader.flag()) reader.bit();  // sps_bdof_control_present_in_ph_flag
    reader.bit();                     // sps_smvd_enabled_flag
    if (reader.flag()) reader.bit();  // sps_dmvr_control_present_in_ph_flag
    if (reader.flag()) reader.bit();  // sps_mmvd_fullpel_only_enabled_flag
    const uint32_t merge_candidates = 6 - std::min(reader.ue(), 5u);
    reader.bit();  // sps_sbt_enabled_flag
    if (reader.flag()) skip_affine(reader, amvr);
    reader.skip(2);  // sps_bcw_enabled_flag, sps_ciip_enabled_flag
    if (merge_candidates >= 2 && reader.flag() && merge_candidates >= 3)
        reader.ue();  // sps_max_num_merge_cand_minus_max_num_gpm_cand
    reader.ue();      // sps_log2_parallel_merge_level_minus2
}

void skip_ladf(BitReader& reader) {
    const uint32_t intervals_minus1 = reader.bits(2) + 1;
    reader.se();  // sps_ladf_lowest_interval_qp_offset
    reader.skip_ue(2 * intervals_minus1);
}

void skip_intra_tools(BitReader& reader, const Sps& sps) {
    reader.skip(3);                       // isp, mrl, mip
    if (sps.chroma != 0) reader.bit();    // sps_cclm_enabled_flag
    if (sps.chroma == 1) reader.skip(2);  // collocated chroma
    const bool palette = reader.flag();
    const bool act = sps.chroma == 3 && !sps.transform_size_64 && reader.flag();
    if (sps.transform_skip || palette) reader.ue();  // sps_min_qp_prime_ts
    if (reader.flag()) reader.ue();                  // sps_six_minus_max_num_ibc_merge_cand
    if (reader.flag()) skip_ladf(reader);
    const bool scaling_list = reader.flag();
    if (scaling_list && sps.lfnst) reader.bit();
    if (scaling_list && act && reader.flag()) reader.bit();
    reader.skip(2);  // sps_dep_quant_enabled_flag, sps_sign_data_hiding_enabled_flag
}

void skip_virtual_boundaries(BitReader& reader) {
    if (!reader.flag() || !reader.flag()) return;
    reader.skip_ue(reader.ue());  // vertical
    reader.skip_ue(reader.ue());  // horizontal
}

struct HrdShape {
    bool nal;
    bool vcl;
    bool decoding_units;
    uint32_t cpb_count;
};

void skip_sublayer_hrd(BitReader& reader, HrdShape shape) {
    for (uint32_t i = 0; i < shape.cpb_count && !reader.overrun(); ++i) {
        reader.skip_ue(shape.decoding_units ? 4 : 2);
        reader.bit();  // cbr_flag
    }
}

HrdShape read_hrd_shape(BitReader& reader) {
    HrdShape shape = {reader.flag(), false, false, 1};
    shape.vcl = reader.flag();
    if (!shape.nal && !shape.vcl) return shape;
    reader.bit();  // general_same_pic_timing_in_all_ols_flag
    shape.decoding_units = reader.flag();
    if (shape.decoding_units) reader.skip(8);    // tick_divisor_minus2
    reader.skip(shape.decoding_units ? 12 : 8);  // scales
    shape.cpb_count = reader.ue() + 1;
    return shape;
}

void read_timing(BitReader& reader, Sps& sps) {
    const double num_units_in_tick = reader.bits(32);
    const double time_scale = reader.bits(32);
    if (num_units_in_tick > 0)
        sps.picture_rate = plausible_frame_rate(time_scale / num_units_in_tick);
    const HrdShape shape = read_hrd_shape(reader);
    const bool each = sps.max_sublayers_minus1 > 0 && reader.flag();
    for (uint32_t i = each ? 0 : sps.max_sublayers_minus1; i <= sps.max_sublayers_minus1; ++i) {
        const bool general = reader.flag();  // fixed_pic_rate_general_flag
        const bool within_cvs = general || reader.flag();
        if (within_cvs)
            reader.ue();  // elemental_duration_in_tc_minus1
        else if ((shape.nal || shape.vcl) && shape.cpb_count == 1)
            reader.bit();  // low_delay_hrd_flag
        if (shape.nal) skip_sublayer_hrd(reader, shape);
        if (shape.vcl) skip_sublayer_hrd(reader, shape);
    }
}

// -> true when the set ends where its extension flag says
bool skip_usability_and_end(BitReader& reader) {
    if (reader.flag()) {  // sps_vui_parameters_present_flag
        const uint32_t payload_size = reader.ue() + 1;
        reader.align();
        reader.skip(size_t{8} * payload_size);
    }
    if (reader.overrun()) return false;
    const bool extension = reader.flag();
    if (extension) return !reader.overrun();
    return reader.flag() && reader.left() < 8;  // rbsp_stop_one_bit in the last byte
}

// Picture rate and fields, from the bit depth on.
void read_rest(BitReader& reader, Sps& sps) {
    reader.skip(2);  // entropy synchronisation, entry points
    sps.log2_max_poc_lsb = reader.bits(4) + 4;
    if (reader.flag()) reader.ue();  // sps_poc_msb_cycle_len_minus1
    skip_header_extra_bits(reader);
    if (sps.has_ptl_dpb_hrd) skip_decoded_picture_buffer(reader, sps);
    skip_partition_constraints(reader, sps);
    skip_transforms(reader, sps);
    skip_filters_and_weights(reader, sps);
    skip_references(reader, sps);
    skip_inter_tools(reader);
    skip_intra_tools(reader, sps);
    skip_virtual_boundaries(reader);
    if (sps.has_ptl_dpb_hrd && reader.flag()) read_timing(reader, sps);
    const bool field_seq = reader.flag();
    if (!skip_usability_and_end(reader)) return;
    sps.details.frame_rate = sps.picture_rate;
    sps.details.interlaced = field_seq ? 1 : 0;
    if (field_seq) {  // each picture is a field
        sps.details.height *= 2;
        sps.details.frame_rate /= 2;
    }
}

std::span<const uint8_t> without_trailing_zeros(std::span<const uint8_t> bytes) {
    while (!bytes.empty() && bytes.back() == 0)
        bytes = bytes.first(bytes.size() - 1);
    return bytes;
}

std::optional<VideoDetails> read_sps(std::span<const uint8_t> nal_unit) {
    const UnescapedUnit payload(without_trailing_zeros(nal_unit.subspan(kNalHeader)));
    BitReader reader(payload.bytes());
    Sps sps;
    reader.skip(4);  // sps_seq_parameter_set_id
    sps.video_parameter_set_id = reader.bits(4);
    sps.max_sublayers_minus1 = reader.bits(3);
    sps.chroma = reader.bits(2);
    sps.details.chroma = chroma_name(sps.chroma);
    sps.log2_ctu_size = reader.bits(2) + 5;
    sps.has_ptl_dpb_hrd = reader.flag();
    if (sps.has_ptl_dpb_hrd) read_profile_tier_level(reader, sps);
    if (!read_size(reader, sps)) return std::nullopt;
    if (reader.flag()) skip_subpictures(reader, sps);
    const uint32_t depth = reader.ue() + 8;
    if (reader.overrun() || depth > 16) return std::nullopt;
    sps.details.bit_depth = static_cast<uint8_t>(depth);
    read_rest(reader, sps);
    return sps.details;
}

}  // namespace

std::optional<VideoFacts> read_h266(std::span<const uint8_t> es) {
    StartCodes units(es);
    while (const auto unit = units.next()) {
        if (unit->bytes.size() < kNalHeader) continue;
        const uint32_t layer_and_reserved = unit->bytes[0];
        const uint32_t type = unit->bytes[1] >> 3;
        if (layer_and_reserved != 0 || type != kSequenceParameterSet) continue;
        if (const auto details = read_sps(unit->bytes)) return VideoFacts{*details, unit->ended};
    }
    return std::nullopt;
}

}  // namespace zv::survey
