// SPDX-License-Identifier: MIT
// Files of one directory that a command writes at the same time: they get their names together when
// all are whole, or not at all. There may be thousands, so few are open at a time.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "io/output/out_file.h"
#include "io/output/unnamed_file.h"

namespace zvprobe {

class OutFileSet {
  public:
    using Id = size_t;
    struct Named {
        Id id;
        std::string name;
    };

    // Makes the directory when it is missing. Throws OutputError, as do the functions below.
    explicit OutFileSet(const std::string& directory);

    // What has no name is gone, and so is a directory that was made for nothing.
    ~OutFileSet();
    OutFileSet(const OutFileSet&) = delete;
    OutFileSet& operator=(const OutFileSet&) = delete;

    // -> an empty file without a name
    Id add();

    void write(Id id, std::span<const uint8_t> bytes);
    uint64_t written(Id id) const { return files_[id].written; }

    // -> the first bytes of what was written, at most so many
    std::vector<uint8_t> beginning(Id id, size_t most);

    // Gives names to these files, each once. Where a link leads to is written, and pipes and devices
    // are.
    void commit(const std::vector<Named>& files);

    std::string path_of(const std::string& name) const { return directory_ / name; }

  private:
    struct File {
        UnnamedFile unnamed;  // there once something was written
        std::vector<uint8_t> pending;
        uint64_t written = 0;
        int fd = -1;
    };

    void flush(Id id);
    void flush_all();
    void open(Id id);
    static int try_open(File& file, const std::string& beside);
    void close_one();
    void close_all();

    std::filesystem::path directory_;
    UnnamedFile made_directory_;  // none when it was there
    std::deque<File> files_;      // after that: they go before it
    std::deque<Id> open_;         // files with a descriptor, the longest open first
    size_t pending_ = 0;          // bytes of all files
};

}  // namespace zvprobe
