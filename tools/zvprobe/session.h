// SPDX-License-Identifier: MIT
// What all commands share: the options that go before or behind the command, the library's log, and
// how a command complains.
#pragma once

#include <string>

namespace zvprobe {

struct Session {
    int verbosity = 0;
    bool quiet = false;
    std::string log_file;
};

// -> the level of the library's messages that the options ask for; 0 when nobody listens
int wanted_log_level(const Session& session);

// Starts the library's log as the options say: to the file, to standard error, or nowhere.
void start_log(const Session& session);

// Writes "zvprobe: name: message" on standard error, in place of a progress line.
void complain(const std::string& name, const std::string& message);

}  // namespace zvprobe
