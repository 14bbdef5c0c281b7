// SPDX-License-Identifier: MIT
// What standard error gets: a progress line, where it is a terminal and the source takes a while, and
// complaints in its place.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "render/log_line.h"

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

// Writes "zvprobe: name: message" on standard error, in place of a progress line. Any thread.
void complain(const std::string& name, const std::string& message,
              Gravity gravity = Gravity::kWarning);

}  // namespace zvprobe
