// SPDX-License-Identifier: MIT
// Implementation of picture_size.h.
#include "flv/codecs/picture_size.h"

#include <array>

#include "survey/codecs/bit_reader.h"

namespace zvprobe {
namespace {

using zv::survey::BitReader;
using Size = std::optional<PictureSize>;

// Of Sorenson H.263.
constexpr std::array<PictureSize, 7> kH263Sizes = {
    {{0, 0}, {0, 0}, {352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}}};

Size checked(const BitReader& reader, PictureSize size) {
    if (reader.overrun() || size.width == 0 || size.height == 0) return std::nullopt;
    return size;
}

Size read_h263(BitReader reader) {
    if (reader.bits(17) != 1) return std::nullopt;  // start code
    reader.skip(5 + 8);                             // version, temporal reference
    const uint32_t code = reader.bits(3);
    PictureSize size = {};
    if (code < 2) {
        size.width = reader.bits(code == 0 ? 8 : 16);
        size.height = reader.bits(code == 0 ? 8 : 16);
    } else if (code < kH263Sizes.size()) {
        size = kH263Sizes[code];
    }
    return checked(reader, size);
}

// Both versions: the sizes of a block in units of 16, and of the picture.
Size read_screen(BitReader reader) {
    PictureSize size = {};
    reader.skip(4);
    size.width = reader.bits(12);
    reader.skip(4);
    size.height = reader.bits(12);
    return checked(reader, size);
}

// FLV tells first what to cut from the right and the bottom of whole macroblocks, then, with alpha,
// where that begins.
Size read_vp6(BitReader reader, bool alpha) {
    const uint32_t cut_right = reader.bits(4);
    const uint32_t cut_bottom = reader.bits(4);
    if (alpha) reader.skip(24);
    const bool key = !reader.flag();
    reader.skip(6);  // quantizer
    const bool two_partitions = reader.flag();
    reader.skip(5);  // version
    const bool simple = reader.bits(2) == 0;
    reader.skip(1);  // interlaced
    if (two_partitions || simple) reader.skip(16);
    const uint32_t rows = reader.bits(8);
    const uint32_t columns = reader.bits(8);
    if (!key || rows == 0 || columns == 0) return std::nullopt;
    return checked(reader, {columns * 16 - cut_right, rows * 16 - cut_bottom});
}

// RFC 6386, 9.1.
Size read_vp8(BitReader reader) {
    reader.skip(7);
    const bool key = !reader.flag();  // the lowest bit of the first byte
    reader.skip(16);
    if (!key || reader.bits(24) != 0x9D012A) return std::nullopt;
    const auto little_endian = [&reader] {
        const uint32_t low = reader.bits(8);
        return (reader.bits(8) << 8 | low) & 0x3FFF;  // the rest is a scale
    };
    PictureSize size = {};
    size.width = little_endian();
    size.height = little_endian();
    return checked(reader, size);
}

void skip_vp9_colours(BitReader& reader, uint32_t profile) {
    constexpr uint32_t kRgb = 7;
    const bool any_sampling = (profile & 1) != 0;
    if (profile >= 2) reader.skip(1);  // bit depth
    if (reader.bits(3) != kRgb)
        reader.skip(any_sampling ? 4 : 1);  // range, sampling and a reserved bit
    else if (any_sampling)
        reader.skip(1);
}

// The uncompressed header of a key frame.
Size read_vp9(BitReader reader) {
    if (reader.bits(2) != 2) return std::nullopt;  // frame marker
    const uint32_t low = reader.bit();
    const uint32_t profile = reader.bit() << 1 | low;
    if (profile == 3) reader.skip(1);
    const bool repeated = reader.flag();
    const bool key = !reader.flag();
    reader.skip(2);  // shown, error resilient
    if (repeated || !key || reader.bits(24) != 0x498342) return std::nullopt;
    skip_vp9_colours(reader, profile);
    PictureSize size = {};
    size.width = reader.bits(16) + 1;
    size.height = reader.bits(16) + 1;
    return checked(reader, size);
}

}  // namespace

std::optional<PictureSize> read_picture_size(FlvMedia media, std::span<const uint8_t> frame) {
    const BitReader reader(frame);
    switch (media) {
        case FlvMedia::kH263:
            return read_h263(reader);
        case FlvMedia::kScreen:
            return read_screen(reader);
        case FlvMedia::kVp6:
            return read_vp6(reader, false);
        case FlvMedia::kVp6Alpha:
            return read_vp6(reader, true);
        case FlvMedia::kVp8:
            return read_vp8(reader);
        case FlvMedia::kVp9:
            return read_vp9(reader);
        default:
            return std::nullopt;
    }
}

}  // namespace zvprobe
