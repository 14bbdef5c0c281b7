// SPDX-License-Identifier: MIT
// Implementation of clock_pacer.h.
#include "ts/play/clock_pacer.h"

#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {
namespace {

constexpr size_t kFullRun = ClockPacer::kTogether * zv::kTsPacketSize;

}  // namespace

void ClockPacer::take(std::span<const uint8_t> packets, uint64_t offset, size_t spacing) {
    if (stopped_) return;
    for (; !packets.empty(); packets = packets.subspan(zv::kTsPacketSize), offset += spacing)
        hold(packets.first(zv::kTsPacketSize), offset);
    send_due(false);
    if (held_bytes_ > kMostHeld) send_all_now();
}

void ClockPacer::hold(std::span<const uint8_t> packet, uint64_t offset) {
    if (held_.empty() || held_.back().bytes.size() == kFullRun) {
        held_.push_back({offset, {}});
        held_.back().bytes.reserve(kFullRun);
    }
    auto& bytes = held_.back().bytes;
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    held_bytes_ += packet.size();
}

// A run goes when its first packet is due, and not before it is full.
void ClockPacer::send_due(bool last) {
    while (!held_.empty() && !lines_.empty() && !stopped_) {
        if (!last && held_.front().bytes.size() < kFullRun) return;
        const ZvSurveyTimeLine& line = lines_.front();
        const uint64_t place = held_.front().offset;
        if (place > line.end) {
            lines_.pop_front();
            continue;
        }
        const auto bytes = static_cast<double>(static_cast<int64_t>(place - line.offset));
        time_s_ = line.time_s + bytes * line.s_per_byte;
        stopped_ = !wait_until_(time_s_);
        if (!stopped_) send_front();
    }
}

void ClockPacer::send_front() {
    send_(held_.front().bytes, time_s_);
    held_bytes_ -= held_.front().bytes.size();
    held_.pop_front();
}

void ClockPacer::send_all_now() {
    while (!held_.empty() && !stopped_)
        send_front();
}

void ClockPacer::finish() {
    send_due(true);
    send_all_now();
}

}  // namespace zvprobe
