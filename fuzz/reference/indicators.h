// SPDX-License-Identifier: MIT
// Last pass of the reference survey: the stream once more from its beginning, with the tables in
// force and the time known at every packet. Counts the indicators of ETSI TR 101 290.
#pragma once

#include <string_view>
#include <vector>

#include "clock.h"
#include "tables.h"

namespace fuzz::reference {

struct Tally {
    uint64_t count = 0;
    double first_ticks = 0;
    double last_ticks = 0;

    void add(double ticks);
};

struct Findings {
    std::map<std::string_view, Tally> tallies;  // by id
    std::map<uint16_t, Range> ahead_ms;         // of PIDs with time stamps
    Tables tables;                              // at the end
};

Findings replay(const Framing& framing, const Pids& pids, const std::vector<Section>& sections,
                const Clock& clock);

}  // namespace fuzz::reference
