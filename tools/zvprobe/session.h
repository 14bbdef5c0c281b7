// SPDX-License-Identifier: MIT
// What all commands share: options that go before or behind the command, and where a command leaves
// what is to be done.
#pragma once

#include <functional>
#include <string>

#include "cli_app.h"

namespace zvprobe {

struct Session {
    int verbosity = 0;
    bool quiet = false;
    std::string log_file;

    // Set by the command that was chosen; -> exit status
    std::function<int()> run;
};

// -> the level of the library's messages that the options ask for; 0 when nobody listens
int wanted_log_level(const Session& session);

// Starts the library's log as the options say: to the file, to standard error, or nowhere.
void start_log(const Session& session);

// Writes "zvprobe: name: message" on standard error, in place of a progress line.
void complain(const std::string& name, const std::string& message);

// Each command adds itself to the command line.
void add_probe_command(CLI::App& root, Session& session);
void add_flv_meta_command(CLI::App& root, Session& session);
void add_monitor_command(CLI::App& root, Session& session);
void add_build_command(CLI::App& root, Session& session);
void add_remap_command(CLI::App& root, Session& session);
void add_pace_command(CLI::App& root, Session& session);
void add_extract_command(CLI::App& root, Session& session);
void add_rtp_command(CLI::App& root, Session& session);

}  // namespace zvprobe
