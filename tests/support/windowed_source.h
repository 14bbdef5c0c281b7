// SPDX-License-Identifier: MIT
// Bytes in memory as a source of the tool, in windows so small that their ends can be put anywhere.
// Each window is a block of its own: what is used for too long is seen by a sanitizer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "io/source.h"

namespace zvtest {

enum class Kind { kFile, kStream };  // whether bytes can be skipped without reading them

class WindowedSource : public zvprobe::Source {
  public:
    // first, window: new bytes of the first window and of each later one
    WindowedSource(std::span<const uint8_t> bytes, Kind kind, size_t first, size_t window)
        : bytes_(bytes), kind_(kind), size_(first), later_size_(window) {}

    std::span<const uint8_t> next(size_t keep) override {
        const size_t begin = end_ - std::min({keep, end_, size_t{kMaxKept}});
        end_ = std::min(bytes_.size(), end_ + size_);
        size_ = later_size_;
        window_ =
            std::make_unique<std::vector<uint8_t>>(bytes_.data() + begin, bytes_.data() + end_);
        return *window_;
    }
    uint64_t skip(uint64_t count) override {
        if (kind_ == Kind::kStream) return 0;
        const size_t passed = std::min<size_t>(count, bytes_.size() - end_);
        end_ += passed;
        return passed;
    }
    bool at_end() const override { return end_ == bytes_.size(); }
    std::optional<uint64_t> size() const override { return bytes_.size(); }

  protected:
    std::string reason() const override { return {}; }
    uint64_t position() const override { return end_; }

  private:
    std::span<const uint8_t> bytes_;
    Kind kind_;
    size_t size_;
    size_t later_size_;
    size_t end_ = 0;  // of the current window
    std::unique_ptr<std::vector<uint8_t>> window_;
};

}  // namespace zvtest
