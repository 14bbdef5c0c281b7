// SPDX-License-Identifier: MIT
// The clock of the reference survey: PCRs of one PID as points of a line from bytes to time.
#include "clock.h"

#include <algorithm>

#include "rates.h"

namespace fuzz::reference {
namespace {

struct PidPcr {
    uint16_t pid;
    const Pcr* before;  // of the same PID; null for its first
    const Pcr* pcr;
};

std::vector<PidPcr> in_order_of_coming(const Pids& pids) {
    std::vector<PidPcr> all;
    for (const auto& [pid, facts] : pids) {
        const Pcr* before = nullptr;
        for (const Pcr& pcr : facts.pcrs) {
            all.push_back({pid, before, &pcr});
            before = &pcr;
        }
    }
    std::ranges::sort(all, {}, [](const PidPcr& one) { return one.pcr->offset; });
    return all;
}

}  // namespace

Clock::Clock(const Framing& framing, const Pids& pids)
    : packet_size_(static_cast<double>(framing.packet_size)) {
    for (const PidPcr& one : in_order_of_coming(pids)) {
        if (one.before != nullptr) follow(one.pid, *one.before, *one.pcr);
    }
    ConstantRate rate(intervals_, packet_size_);
    while (rate.add_next()) {
    }
    known_ = rate.bit_rate().has_value();
    if (!known_) return;
    bit_rate_ = *rate.bit_rate();
    constant_rate_ = rate.verdict();
    const double places =
        static_cast<double>(framing.packets.size()) +
        static_cast<double>(framing.skipped_bytes - framing.leading_bytes) / packet_size_;
    duration_s_ = places * kBitsPerPacket / bit_rate_;
    lay_out(framing.packets.front().offset);
}

void Clock::follow(uint16_t pid, const Pcr& before, const Pcr& pcr) {
    if (!following_) {
        following_ = true;
        pid_ = pid;
    }
    if (pid == pid_) return add_interval(before.offset, pcr);
    // Has the clock been away for more than a second by its last rate?
    const uint64_t last = segments_.back().to;
    const auto away = static_cast<double>(pcr.offset - last);
    if (!pace_ || pace_->ticks_for(away) <= static_cast<double>(kTicksPerSecond)) return;
    segments_.push_back({last, pcr.offset, pace_});
    pid_ = pid;
    if (pcr.sound()) pace_ = Pace{pcr.step, pcr.offset - before.offset};
}

void Clock::add_interval(uint64_t from, const Pcr& to) {
    if (to.sound()) {
        pace_ = Pace{to.step, to.offset - from};
        intervals_.push_back({to.offset, *pace_});
    }
    segments_.push_back({from, to.offset, pace_});
}

// Segments follow each other without a gap: each starts where the clock was last read.
void Clock::lay_out(uint64_t zero) {
    // An interval of no time tells no rate.
    const auto first_known = std::ranges::find_if(segments_, [](const Segment& segment) {
        return segment.pace && segment.pace->ticks_for(1) > 0;
    });
    for (auto segment = segments_.begin(); segment != first_known; ++segment)
        segment->pace = first_known->pace;
    for (size_t i = 1; i < segments_.size(); ++i) {
        const Segment& before = segments_[i - 1];
        segments_[i].start =
            before.start + before.pace->ticks_for(static_cast<double>(before.to - before.from));
    }
    // After the last reading its rate goes on, which is not that of the last segment when another
    // PID has just become the clock.
    const Segment& last = segments_.back();
    const double end = last.start + last.pace->ticks_for(static_cast<double>(last.to - last.from));
    segments_.push_back({last.to, last.to, pace_, end});
    zero_ = ticks_at(zero);
}

double Clock::ticks_at(uint64_t offset) const {
    const auto after = std::ranges::upper_bound(segments_, offset, {}, &Segment::from);
    const Segment& segment = after == segments_.begin() ? *after : *(after - 1);
    const double bytes = static_cast<double>(offset) - static_cast<double>(segment.from);
    return segment.start + segment.pace->ticks_for(bytes) - zero_;
}

}  // namespace fuzz::reference
