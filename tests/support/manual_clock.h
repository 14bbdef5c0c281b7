// SPDX-License-Identifier: MIT
// Stands in for the host's clock and for usleep and sleep: time moves only when a test says so, or
// when the code under test sleeps.
#pragma once

#include <cstdint>
#include <vector>

namespace zvtest {

// Owns time from construction to destruction; only one lives at a time.
class ManualClock {
  public:
    explicit ManualClock(uint64_t now_us = 1'000'000);
    ~ManualClock();
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void advance(uint64_t us);
    // Every reading moves the clock on, so that two readings differ.
    void advance_per_reading(uint64_t us);
    uint64_t now() const;
    int readings() const;
    // Every sleep, in microseconds.
    const std::vector<uint64_t>& sleeps() const;
};

}  // namespace zvtest
