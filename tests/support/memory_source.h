// SPDX-License-Identifier: MIT
// Stands in for the host's protocol library: one source that lies in memory, whose Nth read fails,
// ends or comes short, and that counts what was opened and closed.
#pragma once

#include <cstdint>
#include <vector>

namespace zvtest {

using Bytes = std::vector<uint8_t>;

enum class ReadFault { kNone, kFails, kInterrupted, kEnds, kShort };

// Every URL is this source from construction to destruction; only one lives at a time.
class MemorySource {
  public:
    // index  ZVPTC_INDEX_*, what every URL is taken for
    explicit MemorySource(const Bytes& bytes, int index = 0);
    ~MemorySource();
    MemorySource(const MemorySource&) = delete;
    MemorySource& operator=(const MemorySource&) = delete;

    // The read, counted from 0 over all opens to come, that goes wrong. A failure, an interruption
    // or an end lasts until the next open.
    void fail_read(int number, ReadFault fault);
    void refuse_to_open(bool refuse);
    // Whether the fault above has happened.
    bool has_failed() const;
    // Opened and not closed.
    int open_sources() const;
};

}  // namespace zvtest
