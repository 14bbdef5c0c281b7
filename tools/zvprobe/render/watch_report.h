// SPDX-License-Identifier: MIT
// The report of a watch over many sources: a table with a line for each.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "render/terminal.h"

namespace zvprobe {

struct WatchLine {
    std::string name;  // made to be printed
    bool up = false;
    std::string why_away;
    uint64_t packets = 0;
    double bits_per_second = 0;
    uint64_t continuity_errors = 0;
    uint64_t rtp_packets_lost = 0;
    uint64_t receive_drops = 0;  // by the kernel
};

void print_watch_text(std::ostream& out, const std::vector<WatchLine>& lines, const Style& style);

}  // namespace zvprobe
