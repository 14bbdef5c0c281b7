// SPDX-License-Identifier: MIT
// What becomes of a command that copies one file into another when its source cannot be read to the
// end or its output cannot be written.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "base/exit_status.h"
#include "commands/commands.h"
#include "io/source.h"

namespace zvprobe {

// What ends such a command for another reason; the text does not name the input.
class CopyError : public std::runtime_error {
  public:
    CopyError(ExitStatus status, const std::string& message)
        : std::runtime_error(message), status_(status) {}

    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

// Runs the work. -> its exit status, or that of an error of source, output, copy or usage, which is
// reported
int run_copy(const CopyFiles& files, const std::function<int()>& work);

// -> the source's first window. Throws SourceError when a signal came before all of it.
std::span<const uint8_t> first_window_of(Source& source);

// Throws SourceError when reading ended early, on an error or a signal: nothing may be made of it.
void check_reading(const Source& source);

// Throws CopyError when a walk through a file has lost sight of bytes: the copy would lack them.
void check_account(uint64_t accounted, uint64_t size);

}  // namespace zvprobe
