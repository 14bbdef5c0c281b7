// SPDX-License-Identifier: MIT
// A progress line on a terminal, for sources that take a while.
#pragma once

#include <chrono>
#include <cstdint>

namespace zvprobe {

// Draws on standard error, and wipes the line when destroyed.
class Progress {
  public:
    // total: bytes to come; enabled: false draws nothing
    Progress(uint64_t total, bool enabled);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(uint64_t bytes);

  private:
    using Clock = std::chrono::steady_clock;

    uint64_t total_;
    bool enabled_;
    Clock::time_point started_ = Clock::now();
    Clock::time_point due_;
};

// Wipes a progress line that stands on standard error, to make room for a message. Any thread.
void wipe_progress();

}  // namespace zvprobe
