// SPDX-License-Identifier: MIT
// Something to do every so often while the program waits for input: a timer signal interrupts the
// wait, the clock says whether it is time.
#pragma once

#include <chrono>

namespace zvprobe {

// At most one exists at a time, because it owns the process's SIGALRM.
class Ticker {
  public:
    using Clock = std::chrono::steady_clock;

    // interval: more than nothing
    explicit Ticker(std::chrono::microseconds interval);
    ~Ticker();
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

    // -> true once for every interval that has passed; several missed ones count as one
    bool due();

  private:
    Clock::duration interval_;
    Clock::time_point next_;
};

}  // namespace zvprobe
