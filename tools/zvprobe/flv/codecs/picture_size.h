// SPDX-License-Identifier: MIT
// The size of a picture as the first bytes of a frame have it, for codecs of FLV that come without a
// configuration.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "flv/codecs/flv_codecs.h"

namespace zvprobe {

struct PictureSize {
    uint32_t width;
    uint32_t height;

    bool operator==(const PictureSize&) const = default;
};

// frame: a key frame, or the first bytes of one
// -> nothing when it does not tell, or media has it elsewhere
std::optional<PictureSize> read_picture_size(FlvMedia media, std::span<const uint8_t> frame);

}  // namespace zvprobe
