// SPDX-License-Identifier: MIT
// An output as a pipe: for library calls that write to a path, so that the command itself
// has the output, and gives it its name only when all has gone well.
#pragma once

#include <string>
#include <thread>

#include "io/out_file.h"

namespace zvprobe {

class OutPipe {
  public:
    // out: gets what is written into the pipe, as it comes. Throws OutputError.
    explicit OutPipe(OutFile& out);
    ~OutPipe();
    OutPipe(const OutPipe&) = delete;
    OutPipe& operator=(const OutPipe&) = delete;

    // What to open instead of the output.
    std::string path() const { return "/dev/fd/" + std::to_string(write_end_); }

    // Waits until the output has everything. Throws OutputError, also for an earlier failure, after
    // which the pipe has no reader.
    void finish();

  private:
    void copy();
    void join();

    OutFile& out_;
    int read_end_;
    int write_end_;
    std::string error_;
    std::thread thread_;
};

}  // namespace zvprobe
