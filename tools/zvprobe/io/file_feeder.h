// SPDX-License-Identifier: MIT
// A file as a pipe: for library calls that read a source to its end, so that a signal can end it
// early and progress can be shown.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "io/source.h"
#include "render/progress.h"

namespace zvprobe {

class FileFeeder {
  public:
    // source: a file, which never waits; draw: show progress. Throws SourceError.
    FileFeeder(std::unique_ptr<Source> source, bool draw);

    // Ends the feeding, however far it has got.
    ~FileFeeder();
    FileFeeder(const FileFeeder&) = delete;
    FileFeeder& operator=(const FileFeeder&) = delete;

    // What to open instead of the file, once.
    std::string path() const { return "/dev/fd/" + std::to_string(read_end_); }

    // Ends the feeding. -> why reading the file ended early; empty when it did not, or when a signal
    //    or whoever reads the pipe wanted no more
    std::string finish();

  private:
    void feed();
    bool write(std::span<const uint8_t> bytes);

    std::unique_ptr<Source> source_;
    Progress progress_;
    int read_end_;
    int write_end_;
    std::string write_error_;
    std::thread thread_;
};

}  // namespace zvprobe
