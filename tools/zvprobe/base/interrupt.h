// SPDX-License-Identifier: MIT
// Whether a signal has asked the process to end. Signal handlers note it here; loops that read or
// write check it between two pieces of work. Installs no handler.
#pragma once

#include <atomic>

namespace zvprobe {

// -> true once a signal asked for the end, or interrupt_by's flag for that of this thread.
bool interrupted();

// -> the signal that did, the first one; 0 for none. Any thread.
int interrupting_signal();

// Notes that a signal came. Any thread, and signal handlers.
void note_interrupt(int signal);

// Lets one thread be ended without the others: for the calling thread interrupted() is also true
// once *flag is, which must live as long as the thread.
void interrupt_by(const std::atomic<bool>* flag);

// Forgets what came before.
void forget_interrupts();

}  // namespace zvprobe
