// SPDX-License-Identifier: MIT
// Where a log file lives: how directory, file name and environment make a path, and how missing
// directories come about. Opening the file is left to log_file.h.
#pragma once

#include <climits>

namespace zvlog {

using Path = char[PATH_MAX];

// Builds the path of the log file: `file` itself when it begins with '/', else below ZVLOG_DIR,
// else below `dir`, else in the working directory. False (and errno) when it is too long.
bool build_path(Path& path, const char* dir, const char* file);

// Creates the missing directories above the last '/' of the path. Failures show when the file is
// opened.
void make_parent_directories(const Path& path);

}  // namespace zvlog
