// SPDX-License-Identifier: MIT
// A file that a command writes: it appears under its name when it is whole, or not at all.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "io/output/unnamed_file.h"

namespace zvprobe {

// An output that cannot be written; the text says why, without naming the output.
class OutputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// -> true for "-" and for the names that the system has for the same, as /dev/stdout
bool is_standard_output(const std::string& path);

// -> the mode that the process gives to new files
mode_t mode_of_new_files();

class OutFile {
  public:
    // Standard output is written as the descriptor that it is, whatever that leads to: a file there
    // keeps what it has, and its name. What is no regular file is written directly as well; a
    // regular file under a name of its own beside it, so it may be replaced while it is read. A
    // link stays a link: what it leads to is written, and made when missing.
    // Throws OutputError.
    explicit OutFile(const std::string& path);

    // Without a commit nothing is left.
    ~OutFile();
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    // A signal ends it where it would wait. Throws OutputError.
    void write(std::span<const uint8_t> bytes);
    uint64_t written() const { return written_; }

    // Keeps nothing back of what was written. Throws OutputError.
    void flush();

    // Gives the file its name. Throws OutputError.
    void commit();

  private:
    void choose_way(const std::string& path);
    void open_directly(const char* path);
    void open_beside(mode_t mode);
    void write_now(std::span<const uint8_t> bytes);

    int fd_ = -1;
    bool owns_fd_ = true;
    std::string path_;  // links followed
    UnnamedFile file_;  // none when written directly, or committed
    std::vector<uint8_t> pending_;
    uint64_t written_ = 0;
};

}  // namespace zvprobe
