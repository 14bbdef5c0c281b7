// SPDX-License-Identifier: MIT
// `zvprobe remap` over anything: options that the fuzzer chooses, and a slow look at the outcome.
#pragma once

#include <map>
#include <set>
#include <string>

#include "commands/commands.h"
#include "parts/input.h"

namespace fuzz {

struct RemapChoice {
    zvprobe::RemapOptions options;
    std::map<int, int> pids;  // old, new
    std::set<int> dropped;
};

// Chooses among the PIDs that come in a stream.
RemapChoice choose_remap(ByteSource& in, std::span<const uint8_t> stream);

// Ends the run unless the copy is what was chosen: packets of no table byte by byte and in order,
// tables with counters and CRCs that are right.
void check_remap(const RemapChoice& choice, std::span<const uint8_t> stream,
                 std::span<const uint8_t> copy);

}  // namespace fuzz
