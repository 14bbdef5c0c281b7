// SPDX-License-Identifier: MIT
// Stands in for the host's protocol library: one source that lies in memory, whose Nth read fails,
// ends or comes short, and that counts what was opened and closed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zvtest {

using Bytes = std::vector<uint8_t>;

enum class ReadFault { kNone, kFails, kInterrupted, kEnds, kShort };

// Every URL is this source from construction to destruction; only one lives at a time.
struct MemorySource {
    explicit MemorySource(Bytes content);
    ~MemorySource();
    MemorySource(const MemorySource&) = delete;
    MemorySource& operator=(const MemorySource&) = delete;

    // The read, counted from 0 over all opens to come, that goes wrong. A failure, an interruption
    // or an end lasts until the next open.
    void fail_read(int number, ReadFault what);

    bool refuses = false;  // to be opened
    bool failed = false;   // the fault above has happened
    int open = 0;          // opened and not closed

    // What the library sees.
    int start();
    int read(uint8_t* buffer, int size);

  private:
    Bytes bytes_;
    size_t at_ = 0;
    int reads_ = 0;
    int fail_at_ = -1;
    ReadFault fault_ = ReadFault::kNone;
    bool broken_ = false;
};

}  // namespace zvtest
