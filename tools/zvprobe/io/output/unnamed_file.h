// SPDX-License-Identifier: MIT
// A file that has no final name yet. It is removed unless it gets one: by its owner, or by a signal
// handler that is about to end the process.
#pragma once

#include <string>

namespace zvprobe {

class UnnamedFile {
  public:
    UnnamedFile() = default;
    ~UnnamedFile();
    UnnamedFile(const UnnamedFile&) = delete;
    UnnamedFile& operator=(const UnnamedFile&) = delete;

    // Makes the file in the directory where `path` is to be. -> its descriptor, or -1 with errno set
    int make_beside(const std::string& path);

    // Makes a directory instead, which is removed when nothing is in it, and needs no name.
    // -> false with errno set, also when there is one already
    bool make_directory(const std::string& path);

    // -> false with errno set; the file is still without a name
    bool give_name(const std::string& path);

    bool exists() const { return !path_.empty(); }

    // -> what it is called until then
    const std::string& path() const { return path_; }

  private:
    friend void remove_unnamed_files();
    void enlist();
    void strike_out();

    void remove() const;

    std::string path_;  // empty: there is none
    UnnamedFile* previous_ = nullptr;
    UnnamedFile* next_ = nullptr;
};

// For a process that ends at once: removes all there are. Signal handlers may call it.
void remove_unnamed_files();

}  // namespace zvprobe
