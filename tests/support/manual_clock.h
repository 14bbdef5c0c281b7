// SPDX-License-Identifier: MIT
// Stands in for the host's clock and for usleep and sleep: time moves only when a test says so, or
// when the code under test sleeps.
#pragma once

#include <cstdint>
#include <vector>

namespace zvtest {

// Owns time from construction to destruction; only one lives at a time.
struct ManualClock {
    explicit ManualClock(uint64_t now_us = 1'000'000);
    ~ManualClock();
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void sleep(uint64_t us);

    uint64_t now;
    uint64_t per_reading = 0;  // what every reading adds, so that two readings differ
    int readings = 0;
    std::vector<uint64_t> sleeps;  // in microseconds
};

}  // namespace zvtest
