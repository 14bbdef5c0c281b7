// SPDX-License-Identifier: MIT
// Implementation of clock_pacer.h.
#include "ts/clock_pacer.h"

#include <algorithm>

namespace zvprobe {

void ClockPacer::take(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
    packet_size_ = packet_size;
    while (!packets.empty()) {
        const auto together = packets.first(std::min(packets.size(), kTogether * packet_size));
        held_.push_back({offset, {together.begin(), together.end()}});
        held_bytes_ += together.size();
        offset += together.size();
        packets = packets.subspan(together.size());
    }
    send_due();
    if (held_bytes_ > kMostHeld) send_all_now();
}

// A run goes when its first packet is due.
void ClockPacer::send_due() {
    while (!held_.empty() && !lines_.empty() && !stopped_) {
        const ZvSurveyTimeLine& line = lines_.front();
        const uint64_t place = held_.front().offset;
        if (place > line.end) {
            lines_.pop_front();
            continue;
        }
        const auto bytes = static_cast<double>(static_cast<int64_t>(place - line.offset));
        if (!send_front(line.time_s + bytes * line.s_per_byte)) return;
    }
}

// -> false when no more is to be sent
bool ClockPacer::send_front(double time_s) {
    if (!wait_until_(time_s)) {
        stopped_ = true;
        return false;
    }
    send_(held_.front().bytes, packet_size_);
    held_bytes_ -= held_.front().bytes.size();
    held_.pop_front();
    return true;
}

void ClockPacer::send_all_now() {
    for (; !held_.empty() && !stopped_; held_.pop_front())
        send_(held_.front().bytes, packet_size_);
    held_bytes_ = 0;
}

void ClockPacer::finish() {
    send_due();
    send_all_now();
}

}  // namespace zvprobe
