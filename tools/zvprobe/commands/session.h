// SPDX-License-Identifier: MIT
// What all commands share: the options that go before or after the command, and the library's log.
#pragma once

#include <string>

namespace zvprobe {

struct Session {
    int verbosity = 0;
    bool quiet = false;
    std::string log_file;
};

// -> the level of the library's messages that the options ask for; 0 for none
int wanted_log_level(const Session& session);

// Starts the library's log as the options say: to the file, to standard error, or nowhere.
void start_log(const Session& session);
void stop_log();

}  // namespace zvprobe
