// SPDX-License-Identifier: MIT
// A file that appears under its name only when it is complete: written under another name in the
// same directory, renamed at the end, removed when it was not finished. What is not a regular file
// (a pipe, a device) is written directly. As all of the library, it takes its memory from the host,
// reports through the host's log and throws nothing; the tool's files (OutFile) do the opposite.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zv {

class ResultFile {
  public:
    ResultFile() = default;
    ~ResultFile() { abandon(); }
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;

    bool is_open() const { return state_ != nullptr; }

    // All answer false when the file cannot be written, logged once; then only abandon is of use.
    bool open(const char* path);
    bool write(std::span<const uint8_t> bytes);
    // Writes what is left; after that only the name is missing.
    bool finish();
    // Calls finish, unless that was done, and gives the file its name.
    bool commit();

    // Removes what was written, unless it was committed.
    void abandon();

  private:
    static constexpr size_t kBufferSize = 32768;

    struct State {
        int fd;
        bool is_temporary;
        bool is_finished;  // all bytes are in the file, which is closed
        size_t buffered;
        char path[PATH_MAX];
        char written_path[PATH_MAX];
        uint8_t buffer[kBufferSize];
    };

    bool open_state(const char* path);
    bool open_temporary();
    bool write_out();
    bool fail(int error);
    void drop_file();
    void free_state();

    State* state_ = nullptr;
};

// -> whether files can be made in the directory; logged when not
bool is_writable_directory(const char* path);

}  // namespace zv
