// SPDX-License-Identifier: MIT
// How much of a source goes into its page: what does not fit is asked for again at the next level,
// with half of everything.
#pragma once

#include <algorithm>
#include <cstddef>

namespace zvprobe {

struct PageBounds {
    static constexpr unsigned kLastLevel = 12;   // nothing is left but a source's head
    static constexpr unsigned kHistoryEnds = 7;  // from here on there are no plots

    size_t pids;
    size_t entries;  // of any other list: tables, events, programmes
    size_t streams;  // of a programme
    size_t series;   // of a plot
    size_t names;    // bytes of a text
    bool history;

    static PageBounds at(unsigned level) {
        return {size_t{2000} >> level,
                size_t{1000} >> level,
                size_t{64} >> level,
                std::max<size_t>(size_t{12} >> level, 1),
                std::max<size_t>(size_t{1024} >> level, 64),
                level < kHistoryEnds};
    }
};

}  // namespace zvprobe
