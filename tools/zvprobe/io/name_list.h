// SPDX-License-Identifier: MIT
// A list of names in a file or a pipe, read as it comes: each name can be had once it is there, and the
// list may be of any length.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zvprobe {

class NameList {
  public:
    // No path is so long; what has no end of a name for longer is no list.
    static constexpr size_t kLongestName = size_t{64} << 10;

    // path: "-" for standard input. separator: '\n' or '\0'. Throws SourceError.
    NameList(const std::string& path, char separator);
    ~NameList();
    NameList(const NameList&) = delete;
    NameList& operator=(const NameList&) = delete;

    // -> the next name, never an empty one; nothing at the end, at an error and when interrupted. A
    //    name that such an end cuts off is none.
    //    May throw std::bad_alloc: then the same name is still to come.
    std::optional<std::string> next();

    // -> where and why the list ended early, for the user; empty when it did not
    const std::string& error() const { return error_; }

  private:
    bool fill();
    bool wait_for_input() const;
    bool take_piece();
    void fail(const std::string& why);

    int fd_;
    bool owned_;
    char separator_;
    std::vector<char> buffer_;
    std::string name_;  // what has come of it
    size_t begin_ = 0;  // of what is left in the buffer
    size_t end_ = 0;
    uint64_t position_ = 0;  // of begin_ in the list
    bool over_ = false;
    std::string error_;
};

}  // namespace zvprobe
