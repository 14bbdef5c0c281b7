// SPDX-License-Identifier: MIT
// What the parsers of video formats share.
#include "survey/codecs/video/video.h"

#include <cstdio>

#include "survey/codecs/bit_reader.h"

namespace zv::survey {

const char* chroma_name(uint32_t chroma_format_idc) {
    constexpr std::array kNames = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    return chroma_format_idc < kNames.size() ? kNames[chroma_format_idc] : nullptr;
}

double plausible_frame_rate(double rate) {
    // Clocks of 90 kHz and the like stand in the place of frame rates that vary.
    constexpr double kMinRate = 0.1;
    constexpr double kMaxRate = 500;
    return rate >= kMinRate && rate <= kMaxRate ? rate : 0;
}

void set_text(std::span<char> out, const char* text) {
    if (text != nullptr) snprintf(out.data(), out.size(), "%s", text);
}

void set_level(VideoDetails& details, unsigned major, unsigned minor) {
    snprintf(details.level, sizeof details.level, "%u.%u", major, minor);
}

bool set_size(VideoDetails& details, uint64_t width, uint64_t height, CropWindow crop) {
    constexpr uint64_t kMaxSide = 32768;
    if (crop.horizontal >= width || crop.vertical >= height) return false;
    if (width > kMaxSide || height > kMaxSide) return false;
    details.width = static_cast<uint32_t>(width - crop.horizontal);
    details.height = static_cast<uint32_t>(height - crop.vertical);
    return true;
}

CropWindow crop_unit(uint32_t chroma_format_idc) {
    return {chroma_format_idc == 1 || chroma_format_idc == 2 ? 2u : 1u,
            chroma_format_idc == 1 ? 2u : 1u};
}

void skip_picture_appearance(BitReader& reader) {
    constexpr uint32_t kExtendedSar = 255;
    if (reader.flag() && reader.bits(8) == kExtendedSar) reader.skip(16 + 16);
    if (reader.flag()) reader.bit();  // overscan_appropriate_flag
    if (reader.flag()) {
        reader.skip(3 + 1);                  // video_format, video_full_range_flag
        if (reader.flag()) reader.skip(24);  // colour description
    }
    if (reader.flag()) reader.skip_ue(2);  // chroma sample locations
}

}  // namespace zv::survey
