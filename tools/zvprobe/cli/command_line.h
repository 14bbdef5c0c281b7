// SPDX-License-Identifier: MIT
// The command line: which command it names, with which options. Parsed with CLI11, which
// help.h (how the help looks) and limits_file.cpp (files of limits) use as well.
#pragma once

#include <functional>

#include "base/exit_status.h"
#include "commands/session.h"

namespace zvprobe {

struct CommandLine {
    Session session;
    std::function<int(const Session&)> command;  // -> exit status; empty: nothing is to be done
    ExitStatus status = kExitOk;                 // of a line with nothing to do
    std::string subject;                         // what the command is about, for its complaints
    bool writes = false;  // what it writes is no report: cut short it is worth nothing
    bool many = false;    // it reports on many sources: cut short it has left some out
};

// Help, version and what is wrong with the line are printed here.
CommandLine read_command_line(int argc, const char* const* argv);

}  // namespace zvprobe
