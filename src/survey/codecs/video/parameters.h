// SPDX-License-Identifier: MIT
// Where in a video stream reading can begin.
#pragma once

#include <cstdint>
#include <span>

#include "survey/codecs/codec.h"

namespace zv::survey {

// Looks through the first bytes of a unit, its PES header included.
// -> false when it is video and no parameter set is among them; true for everything else
bool may_begin_with_parameters(Codec codec, std::span<const uint8_t> bytes);

// -> the first parameter set that is whole among the bytes; empty where there is none
std::span<const uint8_t> first_parameters(Codec codec, std::span<const uint8_t> bytes);

}  // namespace zv::survey
