// SPDX-License-Identifier: MIT
// Ctrl-C as a wish: the first SIGINT or SIGTERM asks for the report so far, the next one ends the
// process.
#pragma once

namespace zvprobe {

// Installs the handlers, and forgets what came before. They interrupt blocking reads and sleeps.
void catch_interrupts();

// For threads that only help: signals go to the thread that waits, except those of its own doing.
void leave_signals_to_others();

// -> true once a signal came. Any thread.
bool interrupted();

}  // namespace zvprobe
