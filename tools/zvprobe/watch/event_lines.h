// SPDX-License-Identifier: MIT
// What happens to a source, a line each on standard error, at most so many a minute: a stream that is
// broken for a night must not fill the disk with lines that say the same.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "render/log_line.h"

namespace zvprobe {

class EventLines {
  public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr int kMostPerMinute = 10;

    // name: made to be printed, as that of a source is
    // what, more_of_them: what a line tells, as "event" and "events"
    EventLines(std::string name, const char* what, const char* more_of_them)
        : name_(std::move(name)), what_(what), more_of_them_(more_of_them) {}

    // Counts a line. -> true when it is to be written, so that only then a text is made
    bool next(Time now);

    // Time passes: what was left out is told once its minute is over.
    void tick(Time now);

    // Nothing follows: what was left out is told.
    void finish();

    void say(const std::string& text, Gravity gravity) const;

  private:
    std::string name_;
    const char* what_;
    const char* more_of_them_;
    Time minute_begin_ = {};  // that of the first line in it
    uint64_t in_minute_ = 0;
};

}  // namespace zvprobe
