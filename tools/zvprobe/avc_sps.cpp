// SPDX-License-Identifier: MIT
// Implementation of avc_sps.h. Members are read under their names in the standard.
#include "avc_sps.h"

#include <algorithm>
#include <array>
#include <vector>

#include "bit_reader.h"

namespace zvprobe {
namespace {

constexpr uint8_t kSequenceParameterSet = 7;
constexpr uint32_t kMacroblock = 16;
constexpr uint32_t kMaxSide = 16384;  // pixels; larger ones are damage

// Profiles whose sets describe chroma and scaling.
constexpr std::array<uint32_t, 13> kHighProfiles = {100, 110, 122, 244, 44,  83, 86,
                                                    118, 128, 138, 139, 134, 135};

std::vector<uint8_t> without_emulation_prevention(std::span<const uint8_t> nal_unit) {
    std::vector<uint8_t> out;
    size_t zeros = 0;
    for (const uint8_t byte : nal_unit) {
        const bool inserted = zeros >= 2 && byte == 3;
        zeros = byte == 0 ? zeros + 1 : 0;
        if (!inserted) out.push_back(byte);
    }
    return out;
}

void skip_scaling_list(BitReader& reader, int size) {
    int32_t last = 8;
    int32_t next = 8;
    for (int i = 0; i < size && !reader.overrun(); ++i) {
        if (next != 0) next = static_cast<uint8_t>(last + (reader.se() & 0xFF));
        last = next == 0 ? last : next;
    }
}

// -> chroma_format_idc, with 0 for planes that are coded as monochrome
uint32_t read_high_profile_members(BitReader& reader) {
    const uint32_t chroma_format_idc = reader.ue();
    const bool separate_planes = chroma_format_idc == 3 && reader.bit() != 0;
    reader.ue();   // bit_depth_luma_minus8
    reader.ue();   // bit_depth_chroma_minus8
    reader.bit();  // qpprime_y_zero_transform_bypass_flag
    if (reader.bit() != 0) {
        const int lists = chroma_format_idc == 3 ? 12 : 8;
        for (int i = 0; i < lists; ++i)
            if (reader.bit() != 0) skip_scaling_list(reader, i < 6 ? 16 : 64);
    }
    return separate_planes ? 0 : chroma_format_idc;
}

void skip_picture_order_count(BitReader& reader) {
    const uint32_t pic_order_cnt_type = reader.ue();
    if (pic_order_cnt_type == 0) reader.ue();  // log2_max_pic_order_cnt_lsb_minus4
    if (pic_order_cnt_type != 1) return;
    reader.bit();  // delta_pic_order_always_zero_flag
    reader.se();   // offset_for_non_ref_pic
    reader.se();   // offset_for_top_to_bottom_field
    for (uint32_t left = reader.ue(); left > 0 && !reader.overrun(); --left)
        reader.se();  // offset_for_ref_frame
}

// What one unit of a cropping offset is in pixels, by chroma_format_idc (Table 6-1).
constexpr std::array<PictureSize, 4> kCropUnits = {{{1, 1}, {2, 2}, {2, 1}, {1, 1}}};

std::optional<PictureSize> read_size(BitReader& reader, uint32_t chroma_format_idc) {
    const uint64_t width = uint64_t{reader.ue() + uint64_t{1}} * kMacroblock;
    const uint64_t map_units = reader.ue() + uint64_t{1};
    const uint32_t frame_mbs_only = reader.bit();
    const uint64_t height = map_units * kMacroblock * (2 - frame_mbs_only);
    if (frame_mbs_only == 0) reader.bit();  // mb_adaptive_frame_field_flag
    reader.bit();                           // direct_8x8_inference_flag
    uint64_t crop_width = 0;
    uint64_t crop_height = 0;
    if (reader.bit() != 0) {
        const PictureSize unit = kCropUnits[std::min<uint32_t>(chroma_format_idc, 3)];
        crop_width = (uint64_t{reader.ue()} + reader.ue()) * unit.width;
        crop_height = (uint64_t{reader.ue()} + reader.ue()) * unit.height * (2 - frame_mbs_only);
    }
    if (reader.overrun() || width > kMaxSide || height > kMaxSide || crop_width >= width ||
        crop_height >= height)
        return std::nullopt;
    return PictureSize{static_cast<uint32_t>(width - crop_width),
                       static_cast<uint32_t>(height - crop_height)};
}

}  // namespace

std::optional<PictureSize> parse_avc_size(std::span<const uint8_t> nal_unit) {
    if (nal_unit.empty() || (nal_unit[0] & 0x1F) != kSequenceParameterSet) return std::nullopt;
    const std::vector<uint8_t> payload = without_emulation_prevention(nal_unit.subspan(1));
    BitReader reader(payload);
    const uint32_t profile_idc = reader.bits(8);
    reader.bits(16);  // constraint flags, level_idc
    reader.ue();      // seq_parameter_set_id
    uint32_t chroma_format_idc = 1;
    if (std::ranges::find(kHighProfiles, profile_idc) != kHighProfiles.end())
        chroma_format_idc = read_high_profile_members(reader);
    reader.ue();  // log2_max_frame_num_minus4
    skip_picture_order_count(reader);
    reader.ue();   // max_num_ref_frames
    reader.bit();  // gaps_in_frame_num_value_allowed_flag
    return read_size(reader, chroma_format_idc);
}

}  // namespace zvprobe
