// SPDX-License-Identifier: MIT
// The user's wish to end early. Whoever handles signals notes it here; whoever reads or writes asks
// for it between two pieces of work. Installs no handler.
#pragma once

namespace zvprobe {

// -> true once a signal asked for the end. Any thread.
bool interrupted();

// -> the signal that did, the first one; 0 for none. Any thread.
int interrupting_signal();

// Notes that a signal came. Any thread, and signal handlers.
void note_interrupt(int signal);

// Forgets what came before.
void forget_interrupts();

// For threads that only help: signals go to the thread that waits.
void leave_signals_to_others();

}  // namespace zvprobe
