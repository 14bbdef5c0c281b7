// SPDX-License-Identifier: MIT
// Ctrl-C as a wish: the first SIGINT or SIGTERM asks for the report so far, the next one ends the
// process.
#pragma once

namespace zvprobe {

// Installs the handlers. They interrupt blocking reads and sleeps.
void catch_interrupts();

// -> true once a signal came. Any thread.
bool interrupted();

}  // namespace zvprobe
