// SPDX-License-Identifier: MIT
// A regular file, mapped window by window: nearly twice as fast as read, because nothing is copied,
// and memory stays at two windows whatever the size of the file.
#pragma once

#include "io/mapped_window.h"
#include "io/source.h"
#include "io/window_ahead.h"

namespace zvprobe {

class MappedSource : public Source {
  public:
    // -> null when the file cannot be mapped (read it instead); throws SourceError when it cannot
    //    be opened
    static std::unique_ptr<MappedSource> open(const std::string& path);
    ~MappedSource() override;
    MappedSource(const MappedSource&) = delete;
    MappedSource& operator=(const MappedSource&) = delete;

    std::span<const uint8_t> next(size_t keep) override;
    void expect_skips() override { populate_ = false; }
    uint64_t skip(uint64_t count) override;
    bool at_end() const override;
    std::optional<uint64_t> size() const override { return size_; }

  protected:
    std::string reason() const override;
    uint64_t position() const override;

  private:
    explicit MappedSource(int fd) : fd_(fd) {}
    uint64_t current_size() const;
    bool map_window(uint64_t from);
    void prepare_next();

    int fd_;
    uint64_t size_ = 0;
    uint64_t window_end_ = 0;  // file offset behind the current window
    bool populate_ = true;
    uint64_t window_begin_ = 0;
    MappedWindow window_;
    WindowAhead ahead_;
    std::string map_error_;
};

}  // namespace zvprobe
