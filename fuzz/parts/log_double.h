// SPDX-License-Identifier: MIT
// The log library of the fuzz targets: writes nowhere, but formats every line, so that a message
// with a wrong or unterminated argument is found.
#pragma once

#include <cstdint>

#include "parts/input.h"

namespace fuzz {

// Sets level and debug switches from three bytes of the input: mostly silent, otherwise everything.
void set_log(ByteSource& in);

// Begins a target that has several ways: takes the byte that chooses one, then sets the log.
inline uint8_t take_mode(ByteSource& in) {
    const uint8_t mode = in.u8();
    set_log(in);
    return mode;
}

// A number that tells two sequences of log lines and dumps apart; begins anew with each reset.
uint64_t log_digest();
void reset_log_digest();

}  // namespace fuzz
