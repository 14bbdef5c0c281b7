// SPDX-License-Identifier: MIT
// Short streams in which much time passes: a few packets with tables, PCRs and time stamps, PCRs a
// second or a wrap apart. So that a fuzzer tries very many of them.
#pragma once

#include <cstdint>
#include <vector>

#include "parts/input.h"

namespace fuzz {

// -> at most 64 packets of 188 bytes, each chosen by one to three bytes of the input
std::vector<uint8_t> make_timed_packets(ByteSource& in);

}  // namespace fuzz
