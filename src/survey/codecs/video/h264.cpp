// SPDX-License-Identifier: MIT
// H.264 (ISO/IEC 14496-10): sequence parameter set with its usability information, and the first
// picture timing message, which tells progressive pictures of streams that allow fields.
// Members are read under their names in the standard.
#include <algorithm>
#include <cstdio>

#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/start_codes.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

constexpr uint8_t kSliceTypes = 5;  // NAL units of type 1 to 5
constexpr uint8_t kSupplementalEnhancement = 6;
constexpr uint8_t kSequenceParameterSet = 7;
constexpr uint32_t kMacroblock = 16;

// What of a sequence parameter set matters here.
struct Sps {
    VideoDetails details;
    bool pic_struct_present = false;
    size_t pic_timing_delays = 0;  // bits before pic_struct
};

// Profiles whose sets describe chroma and scaling.
constexpr std::array<uint32_t, 13> kHighProfiles = {100, 110, 122, 244, 44,  83, 86,
                                                    118, 128, 138, 139, 134, 135};

void skip_scaling_list(BitReader& reader, int size) {
    int32_t last = 8;
    int32_t next = 8;
    for (int i = 0; i < size && !reader.overrun(); ++i) {
        if (next != 0) next = static_cast<uint8_t>(last + (reader.se() & 0xFF));
        last = next == 0 ? last : next;
    }
}

// -> ChromaArrayType is 0 although chroma_format_idc is not
bool read_high_profile_members(BitReader& reader, uint32_t& chroma_format_idc, uint32_t& depth) {
    chroma_format_idc = reader.ue();
    const bool separate_planes = chroma_format_idc == 3 && reader.flag();
    depth = reader.ue() + 8;
    reader.ue();                                 // bit_depth_chroma_minus8
    reader.bit();                                // qpprime_y_zero_transform_bypass_flag
    if (!reader.flag()) return separate_planes;  // seq_scaling_matrix_present_flag
    const int lists = chroma_format_idc == 3 ? 12 : 8;
    for (int i = 0; i < lists; ++i)
        if (reader.flag()) skip_scaling_list(reader, i < 6 ? 16 : 64);
    return separate_planes;
}

void skip_picture_order_count(BitReader& reader) {
    const uint32_t pic_order_cnt_type = reader.ue();
    if (pic_order_cnt_type == 0) reader.ue();  // log2_max_pic_order_cnt_lsb_minus4
    if (pic_order_cnt_type != 1) return;
    reader.bit();                 // delta_pic_order_always_zero_flag
    reader.skip_ue(2);            // offset_for_non_ref_pic, offset_for_top_to_bottom_field
    reader.skip_ue(reader.ue());  // offset_for_ref_frame
}

bool read_size(BitReader& reader, uint32_t chroma_array_type, VideoDetails& details) {
    const uint64_t width = (reader.ue() + uint64_t{1}) * kMacroblock;
    const uint64_t map_units = reader.ue() + uint64_t{1};
    const uint32_t frame_mbs_only = reader.bit();
    const uint32_t fields = 2 - frame_mbs_only;
    if (frame_mbs_only == 0) reader.bit();  // mb_adaptive_frame_field_flag
    reader.bit();                           // direct_8x8_inference_flag
    CropWindow crop = {0, 0};
    if (reader.flag()) {
        const CropWindow unit = crop_unit(chroma_array_type);
        crop.horizontal = (uint64_t{reader.ue()} + reader.ue()) * unit.horizontal;
        crop.vertical = (uint64_t{reader.ue()} + reader.ue()) * unit.vertical * fields;
    }
    details.interlaced = frame_mbs_only == 0 ? 1 : 0;
    return !reader.overrun() && set_size(details, width, map_units * kMacroblock * fields, crop);
}

// -> bits of the two delays in a picture timing message
size_t read_hrd(BitReader& reader) {
    const uint32_t cpb_cnt = reader.ue() + 1;
    reader.skip(4 + 4);  // bit_rate_scale, cpb_size_scale
    for (uint32_t i = 0; i < cpb_cnt && !reader.overrun(); ++i) {
        reader.skip_ue(2);  // bit_rate_value_minus1, cpb_size_value_minus1
        reader.bit();       // cbr_flag
    }
    reader.skip(5);  // initial_cpb_removal_delay_length_minus1
    const size_t delays = reader.bits(5) + 1 + reader.bits(5) + 1;
    reader.skip(5);  // time_offset_length
    return delays;
}

double read_timing(BitReader& reader) {
    const double num_units_in_tick = reader.bits(32);
    const double time_scale = reader.bits(32);
    reader.bit();  // fixed_frame_rate_flag
    // A tick is a field, of progressive video too.
    return num_units_in_tick > 0 ? plausible_frame_rate(time_scale / num_units_in_tick / 2) : 0;
}

void read_vui(BitReader& reader, Sps& sps) {
    skip_picture_appearance(reader);
    const double rate = reader.flag() ? read_timing(reader) : 0;
    if (reader.overrun()) return;
    sps.details.frame_rate = rate;
    const bool nal_hrd = reader.flag();
    if (nal_hrd) sps.pic_timing_delays = read_hrd(reader);
    const bool vcl_hrd = reader.flag();
    if (vcl_hrd) sps.pic_timing_delays = read_hrd(reader);
    if (nal_hrd || vcl_hrd) reader.bit();  // low_delay_hrd_flag
    sps.pic_struct_present = reader.flag();
}

std::optional<Sps> read_sps(std::span<const uint8_t> nal_unit) {
    if (nal_unit.empty() || (nal_unit[0] & 0x9F) != kSequenceParameterSet) return std::nullopt;
    const UnescapedUnit payload(nal_unit.subspan(1));
    BitReader reader(payload.bytes());
    Sps sps;
    const uint32_t profile_idc = reader.bits(8);
    const uint32_t constraints = reader.bits(8);
    set_text(sps.details.profile, h264_profile_name(profile_idc, constraints));
    set_h264_level(sps.details, profile_idc, constraints, reader.bits(8));
    reader.ue();  // seq_parameter_set_id
    uint32_t chroma = 1;
    uint32_t depth = 8;
    bool separate_planes = false;
    if (std::ranges::find(kHighProfiles, profile_idc) != kHighProfiles.end())
        separate_planes = read_high_profile_members(reader, chroma, depth);
    if (chroma > 3 || depth > 14) return std::nullopt;
    sps.details.chroma = chroma_name(chroma);
    sps.details.bit_depth = static_cast<uint8_t>(depth);
    reader.ue();  // log2_max_frame_num_minus4
    skip_picture_order_count(reader);
    reader.ue();   // max_num_ref_frames
    reader.bit();  // gaps_in_frame_num_value_allowed_flag
    if (!read_size(reader, separate_planes ? 0 : chroma, sps.details)) return std::nullopt;
    if (reader.flag()) read_vui(reader, sps);
    return sps;
}

// -> pic_struct of the picture timing message of an SEI unit, where it has one
std::optional<uint32_t> read_pic_struct(const Sps& sps, std::span<const uint8_t> nal_unit) {
    constexpr uint32_t kPictureTiming = 1;
    const UnescapedUnit payload(nal_unit.subspan(1));
    BitReader reader(payload.bytes());
    while (reader.left() > 16) {  // more than trailing bits
        uint32_t type_and_size[2] = {0, 0};
        for (uint32_t& sum : type_and_size) {
            uint32_t byte = 0xFF;
            while (byte == 0xFF)
                sum += byte = reader.bits(8);
        }
        if (type_and_size[0] == kPictureTiming) {
            reader.skip(sps.pic_timing_delays);
            const uint32_t pic_struct = reader.bits(4);
            return reader.overrun() ? std::nullopt : std::optional(pic_struct);
        }
        reader.skip(size_t{type_and_size[1]} * 8);
    }
    return std::nullopt;
}

bool is_progressive(uint32_t pic_struct) {
    return pic_struct == 0 || pic_struct == 7 || pic_struct == 8;  // Table D-1: frames, repeated
}

struct NamedProfile {
    uint32_t profile_idc;
    uint8_t constraint;  // that must be set; 0: any
    const char* name;
};

// The first match counts.
constexpr NamedProfile kProfiles[] = {
    {44, 0, "CAVLC 4:4:4"},
    {66, 0x40, "Constrained Baseline"},
    {66, 0, "Baseline"},
    {77, 0, "Main"},
    {88, 0, "Extended"},
    {100, 0, "High"},
    {110, 0x10, "High 10 Intra"},
    {110, 0, "High 10"},
    {118, 0, "Multiview High"},
    {122, 0x10, "High 4:2:2 Intra"},
    {122, 0, "High 4:2:2"},
    {128, 0, "Stereo High"},
    {144, 0, "High 4:4:4"},
    {244, 0x10, "High 4:4:4 Intra"},
    {244, 0, "High 4:4:4 Predictive"},
};

}  // namespace

const char* h264_profile_name(uint32_t profile_idc, uint32_t constraints) {
    for (const NamedProfile& profile : kProfiles)
        if (profile.profile_idc == profile_idc &&
            (constraints & profile.constraint) == profile.constraint)
            return profile.name;
    return nullptr;
}

void set_h264_level(VideoDetails& details, uint32_t profile, uint32_t constraints, uint32_t level) {
    const bool before_high = profile == 66 || profile == 77 || profile == 88;
    if (level == 9 || (level == 11 && before_high && (constraints & 0x10) != 0))
        set_text(details.level, "1b");
    else
        set_level(details, level / 10, level % 10);
}

std::optional<VideoDetails> read_h264_sps(std::span<const uint8_t> nal_unit) {
    const auto sps = read_sps(nal_unit);
    return sps ? std::optional(sps->details) : std::nullopt;
}

std::optional<VideoFacts> read_h264(std::span<const uint8_t> es) {
    std::optional<Sps> sps;
    StartCodes units(es);
    while (const auto unit = units.next()) {
        const uint8_t type = unit->bytes[0] & 0x1F;
        if (!sps) {
            sps = read_sps(unit->bytes);
            if (sps && unit->ended && (sps->details.interlaced == 0 || !sps->pic_struct_present))
                return VideoFacts{sps->details, true};
        } else if (type == kSupplementalEnhancement && sps->pic_struct_present) {
            const auto pic_struct = read_pic_struct(*sps, unit->bytes);
            if (!pic_struct) continue;
            if (is_progressive(*pic_struct)) sps->details.interlaced = 0;
            return VideoFacts{sps->details, true};
        } else if (type >= 1 && type <= kSliceTypes) {
            return VideoFacts{sps->details, true};
        }
    }
    if (!sps) return std::nullopt;
    return VideoFacts{sps->details, false};
}

}  // namespace zv::survey
