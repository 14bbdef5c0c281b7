// SPDX-License-Identifier: MIT
// Lists that damage cannot make endless: everything is counted, the first are kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace zvprobe {

template <typename Item>
class CappedList {
  public:
    static constexpr size_t kMostKept = 1000;

    void add(Item item) {
        if (count_++ < kMostKept) kept_.push_back(std::move(item));
    }

    uint64_t count() const { return count_; }
    const std::vector<Item>& kept() const { return kept_; }

    // -> the one that was added last, null when it was not kept
    Item* last() { return count_ == kept_.size() && count_ > 0 ? &kept_.back() : nullptr; }

  private:
    uint64_t count_ = 0;
    std::vector<Item> kept_;
};

// Bytes that belong to nothing.
struct Gap {
    uint64_t offset;
    uint64_t bytes;
};

}  // namespace zvprobe
