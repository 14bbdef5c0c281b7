// SPDX-License-Identifier: MIT
// The survey's JSON beside that of the reference: equal, but for the last digits of what is worked
// out in floating point.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "parts/input.h"

namespace fuzz {

// The survey of some bytes, each piece in a block of its own.
// scale  in  factor of the piece sizes
nlohmann::ordered_json survey_in_pieces(std::span<const uint8_t> bytes, PieceSizes sizes,
                                        size_t scale);

// -> the first member of the reference that the survey does not have or has otherwise, with both
// values; "" when there is none
std::string difference(const nlohmann::ordered_json& reference,
                       const nlohmann::ordered_json& survey);

// Ends the run with the difference when the survey of the bytes is not what the reference says.
void require_as_reference(std::span<const uint8_t> bytes, PieceSizes sizes, size_t scale);

// The same for the clock and the indicators only; several times as fast.
// -> false when nothing was compared, for rounding decides whether the rate is constant
bool require_timing_as_reference(std::span<const uint8_t> bytes, PieceSizes sizes, size_t scale);

}  // namespace fuzz
