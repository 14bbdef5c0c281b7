// SPDX-License-Identifier: MIT
// Holds packets until their time has come by the stream's own clock. The time of a packet is known
// when the clock's next PCR has come, so some packets are always held.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <vector>

#include "zvsurvey.h"

namespace zvprobe {

class ClockPacer {
  public:
    // What is held at most while no clock comes; then it goes on without waiting.
    static constexpr size_t kMostHeld = size_t{4} << 20;
    // Packets that go on together: what a datagram carries.
    static constexpr size_t kTogether = 7;

    // time_s: when the first of them is due
    using Send = std::function<void(std::span<const uint8_t> packets, double time_s)>;
    // -> false to send no more
    using WaitUntil = std::function<bool(double stream_time_s)>;
    ClockPacer(Send send, WaitUntil wait_until)
        : send_(std::move(send)), wait_until_(std::move(wait_until)) {}

    // Takes packets of 188 bytes, and sends what is due.
    // offset   in  place of the first, on the lines of time
    // spacing  in  from one's place to the next one's
    void take(std::span<const uint8_t> packets, uint64_t offset, size_t spacing);

    // Takes the next line of time.
    void take(const ZvSurveyTimeLine& line) { lines_.push_back(line); }

    // Sends what is held: at its time where that is known.
    void finish();

    bool stopped() const { return stopped_; }

  private:
    struct Run {
        uint64_t offset;
        std::vector<uint8_t> bytes;
    };

    void hold(std::span<const uint8_t> packet, uint64_t offset);
    void send_due(bool last);
    void send_front();
    void send_all_now();

    Send send_;
    WaitUntil wait_until_;
    std::deque<Run> held_;  // all but the last are full
    std::deque<ZvSurveyTimeLine> lines_;
    size_t held_bytes_ = 0;
    double time_s_ = 0;  // of what was sent last
    bool stopped_ = false;
};

}  // namespace zvprobe
