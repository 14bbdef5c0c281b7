// SPDX-License-Identifier: MIT
// The parts of the screen about one stream, each as lines of the width of the terminal.
#pragma once

#include <vector>

#include "render/screen/line.h"
#include "render/screen/view_state.h"
#include "ts/stream_snapshot.h"

namespace zvprobe {

using Lines = std::vector<Line>;

// The source, how long it is watched, and how its bytes come.
Lines head_lines(const StreamSnapshot& stream, bool frozen, size_t columns);

// Errors since counting began and in the last interval.
Lines error_lines(const StreamSnapshot& stream, size_t columns);

// The lights of ETSI TR 101 290, a row or more for each priority; in brief: one line with those that
// counted something.
Lines light_lines(const StreamSnapshot& stream, size_t columns);
Line brief_lights(const StreamSnapshot& stream, size_t columns);

// At most so many lines each, with the heading; a table of PIDs begins with the line state.first_pid.
Lines service_lines(const StreamSnapshot& stream, size_t most, size_t columns);
Lines pid_lines(const StreamSnapshot& stream, ViewState& state, size_t most, size_t columns);
Lines event_lines(const StreamSnapshot& stream, size_t most, size_t columns);

// What the keys do, in one line and in full.
Line key_line(size_t columns);
Lines help_lines(size_t most, size_t columns);

}  // namespace zvprobe
