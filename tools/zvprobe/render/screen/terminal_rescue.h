// SPDX-License-Identifier: MIT
// Gives the terminal back when the process ends in the midst of drawing: its modes, and its screen.
// Knows no drawing library, so that a signal handler may call it.
#pragma once

#include <string_view>

namespace zvprobe {

// Keeps what it takes to give the terminal back: its modes of now, and the text that ends drawing.
// Signals that end the process by a fault or at once give it back from then on.
// fd  stays open until disarmed
void arm_terminal_rescue(int fd, std::string_view text);
void disarm_terminal_rescue();

// Gives it back while the process lives on, to draw again later. May be called by signal handlers;
// with SIGTTOU blocked also when another process has the terminal already.
void leave_terminal();

// Gives it back for good, unless another process has it. May be called by signal handlers.
void rescue_terminal();

// -> false when another process has it, as after Ctrl-Z. May be called by signal handlers.
bool has_terminal(int fd);

}  // namespace zvprobe
