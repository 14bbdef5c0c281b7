// SPDX-License-Identifier: MIT
// Makes transport streams that are mostly sane: programmes with tables that change, several clocks,
// gaps around the limits of ETSI TR 101 290, and faults of every kind.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace fuzz {

// steering: decides, byte by byte, as long as it lasts; then a generator seeded with it does.
// -> 500 to 6000 packets of 188, 192 or 204 bytes, and what stands between them
std::vector<uint8_t> make_survey_stream(std::span<const uint8_t> steering);
std::vector<uint8_t> make_survey_stream(uint32_t seed);

}  // namespace fuzz
