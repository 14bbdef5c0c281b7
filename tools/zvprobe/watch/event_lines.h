// SPDX-License-Identifier: MIT
// What happens to a source, a line each on standard error, at most so many a minute: a stream that is
// broken for a night must not fill the disk with lines that say the same.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zvprobe {

class EventLines {
  public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr int kMostPerMinute = 10;

    explicit EventLines(std::string name) : name_(std::move(name)) {}

    // Counts a line. -> true when it is to be written, so that only then a text is made
    bool next(Time now);

    void say(const std::string& text) const;

  private:
    std::string name_;
    Time minute_begin_ = {};
    uint64_t in_minute_ = 0;
};

}  // namespace zvprobe
