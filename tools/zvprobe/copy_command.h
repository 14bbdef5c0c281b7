// SPDX-License-Identifier: MIT
// What commands that copy one file into another share: their two arguments, and what becomes of a
// source that cannot be read or an output that cannot be written.
#pragma once

#include <functional>
#include <string>

#include "cli_app.h"

namespace zvprobe {

struct CopyFiles {
    std::string in;
    std::string out;
};

// Adds IN and OUT to a command. what_in: help text of IN
void add_copy_files(CLI::App& command, CopyFiles& files, const std::string& what_in);

// Runs the work. -> its exit status, or that of a SourceError or OutputError, which is reported
int run_copy(const CopyFiles& files, const std::function<int()>& work);

}  // namespace zvprobe
