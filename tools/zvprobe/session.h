// SPDX-License-Identifier: MIT
// What all commands share: options that go before or behind the command, and where a command leaves
// what is to be done.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace zvprobe {

struct Session {
    int verbosity = 0;
    bool quiet = false;
    std::string log_file;

    // Set by the command that was chosen; -> exit status
    std::function<int()> run;
};

// Starts the library's log as the options say: to the file, to standard error, or nowhere.
void start_log(const Session& session);

// Writes "zvprobe: name: message" on standard error.
void complain(const std::string& name, const std::string& message);

// Each command adds itself to the command line.
void add_probe_command(CLI::App& root, Session& session);

}  // namespace zvprobe
