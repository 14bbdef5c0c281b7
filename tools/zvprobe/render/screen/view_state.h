// SPDX-License-Identifier: MIT
// What the person at the screen chose, and how keys change it.
#pragma once

#include <cstddef>

namespace zvprobe {

enum class Key {
    kOther,
    kSort,
    kReset,
    kFreeze,
    kHelp,
    kQuit,
    kUp,
    kDown,
    kPageUp,
    kPageDown,
    kHome
};

enum class SortBy { kPid, kRate, kErrors };

struct ViewState {
    SortBy sort_by = SortBy::kPid;
    bool frozen = false;
    bool help = false;
    size_t first_pid = 0;  // lines of the table of PIDs that stand above the screen

    // Does what the key asks of the view. Quitting and resetting are the caller's part.
    void press(Key key);
};

}  // namespace zvprobe
