// SPDX-License-Identifier: MIT
// What signals do to the process: the first one asks the command to end (interrupt.h), the second
// one ends it, and neither leaves a file without a final name or a terminal that is drawn on.
#pragma once

namespace zvprobe {

// SIGHUP, SIGINT and SIGTERM ask for the end and interrupt reads, writes and sleeps, at once and
// again every few milliseconds: a wait that begins just after the signal ends, too. SIGPIPE ends
// the process at once, because its output has no reader any more. A file that grows too large is a
// failed write, not a signal.
void catch_signals();

// From now on SIGPIPE asks for the end like the others: a report that is not read to its end is no
// loss, but a copy is, and the command says so.
void let_lost_readers_be_told();

// Ends the process by the signal's default action.
[[noreturn]] void end_by_signal(int signal);

}  // namespace zvprobe
