// SPDX-License-Identifier: MIT
// The size of the picture in an AVC sequence parameter set (ISO/IEC 14496-10, 7.3.2.1.1); nothing
// else of it is of interest here.
#pragma once

#include "codec_config.h"

namespace zvprobe {

// nal_unit  in  with its header byte
// -> nothing when it is no sequence parameter set, or is cut off before the size
std::optional<PictureSize> parse_avc_size(std::span<const uint8_t> nal_unit);

}  // namespace zvprobe
