// SPDX-License-Identifier: MIT
// How long to wait before a source is opened again: longer each time, and never quite the same, so
// that many sources that fail together do not come back together.
#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace zvprobe {

class Backoff {
  public:
    using Duration = std::chrono::milliseconds;
    static constexpr Duration kLeast{1000};
    static constexpr Duration kMost{60'000};

    explicit Backoff(uint32_t seed) : random_(seed) {}

    // -> the next wait, from kLeast to kMost: doubled each time, less up to a half of it by chance
    Duration next();

    // The source has worked for this long since it was opened: a good while begins anew.
    void worked_for(std::chrono::steady_clock::duration time) {
        if (time >= kMost) grown_ = kLeast;
    }

  private:
    Duration grown_ = kLeast;
    std::minstd_rand random_;
};

}  // namespace zvprobe
