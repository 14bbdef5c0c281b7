// SPDX-License-Identifier: MIT
// Files, standard input, pipes and devices, read by plain read(2): on a machine with a warm page
// cache as fast as a mapping, and a file that shrinks ends the reading instead of the process.
#pragma once

#include "io/read_source.h"

namespace zvprobe {

class FileSource : public ReadSource {
  public:
    explicit FileSource(const std::string& path);  // throws SourceError
    explicit FileSource(int fd);                   // borrowed; throws SourceError
    ~FileSource() override;

    uint64_t skip(uint64_t count) override;
    bool at_end() const override;
    Origin origin() const override { return regular_ ? Origin::kFile : Origin::kPipe; }
    std::optional<uint64_t> size() const override;

  protected:
    int read_once(std::span<uint8_t> room) override;
    std::string reason() const override;

  private:
    FileSource(int fd, bool owned);
    void note_size();

    int fd_;
    bool owned_;
    bool regular_ = false;  // has a size, and can be skipped through
    bool shrunk_ = false;
    uint64_t size_ = 0;
};

}  // namespace zvprobe
