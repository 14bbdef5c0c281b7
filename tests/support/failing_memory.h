// SPDX-License-Identifier: MIT
// Stands in for the host's allocator: counts live blocks, fails when told to, and gives memory
// that is anything but zero.
#pragma once

#include <cstddef>
#include <string>

namespace zvtest {

// Rules from construction to destruction; the latest one does.
struct FailingMemory {
    // fail_at: the allocation, counted from 0, that finds no memory; negative: none does
    explicit FailingMemory(int fail_at = -1);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    int fail_at;
    int allocations = 0;
    int live = 0;
    size_t last_size = 0;
    std::string last_tag;  // "tag|sub-tag"
};

}  // namespace zvtest
