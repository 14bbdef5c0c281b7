// SPDX-License-Identifier: MIT
// The parsers of video formats. Each reads the first bytes of a stream and tells what it found
// there; the parameter sets of H.264, which FLV carries outside a stream, can be read alone.
#pragma once

#include "survey/codecs/codec.h"

namespace zv::survey {

class BitReader;

struct VideoFacts {
    VideoDetails details;
    bool settled = false;
};

// -> nothing when the bytes hold no whole header of the format
std::optional<VideoFacts> read_h264(std::span<const uint8_t> es);
std::optional<VideoFacts> read_h265(std::span<const uint8_t> es);
std::optional<VideoFacts> read_h266(std::span<const uint8_t> es);
std::optional<VideoFacts> read_mpeg4_video(std::span<const uint8_t> es);
std::optional<VideoFacts> read_av1(std::span<const uint8_t> es);

struct Mpeg12Facts {
    VideoFacts video;
    bool mpeg2;  // a sequence extension follows the sequence header
};
std::optional<Mpeg12Facts> read_mpeg12_video(std::span<const uint8_t> es);

// nal_unit: with its header byte.
// -> nothing when it is no sequence parameter set, or is cut off before the size; what a cut
//    timing says is left unknown
std::optional<VideoDetails> read_h264_sps(std::span<const uint8_t> nal_unit);

// constraints: the byte between profile_idc and level_idc
// -> nullptr for a profile without a name
const char* h264_profile_name(uint32_t profile_idc, uint32_t constraints);
void set_h264_level(VideoDetails& details, uint32_t profile, uint32_t constraints, uint32_t level);

// Helpers of the parsers.

// -> "4:2:0"; nullptr beyond 3
const char* chroma_name(uint32_t chroma_format_idc);
// -> 0 for rates that are no frame rate of anything
double plausible_frame_rate(double rate);
void set_text(std::span<char> out, const char* text);  // nullptr: stays as it is
void set_level(VideoDetails& details, unsigned major, unsigned minor);

// What one unit of a window offset is in luma samples, and sizes after cropping.
struct CropWindow {
    uint64_t horizontal;  // samples of left and right together
    uint64_t vertical;
};
// -> false when nothing is left, or the picture is larger than any real one
bool set_size(VideoDetails& details, uint64_t width, uint64_t height, CropWindow crop);
// The factor of horizontal and vertical offsets (Table 6-1 of ISO/IEC 14496-10).
CropWindow crop_unit(uint32_t chroma_format_idc);
// The members of usability information (VUI) before the point where H.264 and H.265 part.
void skip_picture_appearance(BitReader& reader);

}  // namespace zv::survey
