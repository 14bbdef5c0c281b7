// SPDX-License-Identifier: MIT
// What stands on the screen: the lines of a snapshot for a size of terminal. Draws nothing itself.
#pragma once

#include <vector>

#include "render/screen/line.h"
#include "render/screen/view_state.h"
#include "ts/stream_snapshot.h"

namespace zvprobe {

struct ScreenSize {
    size_t lines;
    size_t columns;
};

// A terminal that is smaller gets a line that says so.
constexpr ScreenSize kSmallestScreen = {10, 40};

// state  what is scrolled beyond the end is scrolled back
// -> at most size.lines lines of at most size.columns cells
std::vector<Line> layout(const StreamSnapshot& stream, ViewState& state, ScreenSize size);

}  // namespace zvprobe
