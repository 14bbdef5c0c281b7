// SPDX-License-Identifier: MIT
// Stands in for the host's allocator: counts live blocks, fails when told to, and hands out memory
// that is anything but zero.
#pragma once

#include <cstddef>
#include <string>

namespace zvtest {

inline constexpr unsigned char kFreshByte = 0xA5;

// Rules from construction to destruction; only one lives at a time.
class FailingMemory {
  public:
    // fail_at: the allocation, counted from 0, that finds no memory; negative: none does
    explicit FailingMemory(int fail_at = -1);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    int allocations() const;
    int live() const;
    size_t last_size() const;
    const std::string& last_tag() const;  // "tag|sub-tag"
};

}  // namespace zvtest
