// SPDX-License-Identifier: MIT
// How `--help` looks: each on one screen of 24 lines of 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <string>

#include "base/exit_status.h"

namespace zvprobe {

// Options of this group work, but stand in no help: their command has no room for them.
inline constexpr char kNotInHelp[] = "not in help";

// Makes an application and the commands that are added to it afterwards print such texts.
void use_short_help(CLI::App& root);

// Ends the help of a command with the exit statuses that it has. before: text in front of them
void add_exit_help(CLI::App& command, std::initializer_list<ExitStatus> statuses,
                   const std::string& before = {});

}  // namespace zvprobe
