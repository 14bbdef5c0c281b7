// SPDX-License-Identifier: MIT
// What becomes of a command that copies one file into another when its source cannot be read to the
// end or its output cannot be written.
#pragma once

#include <functional>

#include "commands/commands.h"
#include "io/source.h"

namespace zvprobe {

// Runs the work. -> its exit status, or that of a SourceError or OutputError, which is reported
int run_copy(const CopyFiles& files, const std::function<int()>& work);

// -> the source's first window. Throws SourceError when a signal came before all of it.
std::span<const uint8_t> first_window_of(Source& source);

// Throws SourceError when reading ended early, on an error or a signal: nothing may be made of it.
void check_reading(const Source& source);

}  // namespace zvprobe
