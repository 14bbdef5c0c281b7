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

    using Send = std::function<void(std::span<const uint8_t> packets, size_t packet_size)>;
    // -> false to send no more
    using WaitUntil = std::function<bool(double stream_time_s)>;
    ClockPacer(Send send, WaitUntil wait_until)
        : send_(std::move(send)), wait_until_(std::move(wait_until)) {}

    // Takes packets and lines of time, as the survey gives them, and sends what is due.
    void take(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset);
    void take(const ZvSurveyTimeLine& line) { lines_.push_back(line); }

    // Sends what is held: at its time where that is known.
    void finish();

  private:
    struct Run {
        uint64_t offset;
        std::vector<uint8_t> bytes;
    };

    void send_due();
    bool send_front(double time_s);
    void send_all_now();

    Send send_;
    WaitUntil wait_until_;
    std::deque<Run> held_;  // at most kTogether packets each
    std::deque<ZvSurveyTimeLine> lines_;
    size_t packet_size_ = 0;
    size_t held_bytes_ = 0;
    bool stopped_ = false;
};

}  // namespace zvprobe
