// SPDX-License-Identifier: MIT
// One line of diagnostics on standard error, marked with how grave it is when the journal of systemd
// reads there.
#pragma once

#include <string>

namespace zvprobe {

// As syslog(3) counts.
enum class Gravity { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6 };

// Writes "zvprobe: text" and the end of the line in one piece. Into the journal, which knows the name
// of the process, "<4>text". Any thread.
void log_line(Gravity gravity, const std::string& text);

}  // namespace zvprobe
