// SPDX-License-Identifier: MIT
// Implementation of timing.h.
#include "survey/timing/timing.h"

#include <utility>

namespace zv::survey {
namespace {

// Gaps in packets of a PID are noticed when they are half a second long by the latest rate. Shorter
// ones matter to no limit, and over longer ones time runs at that rate, or a PCR came.
constexpr double kGapSeconds = 0.5;
constexpr uint64_t kGapBytesWithoutClock = 2048;

// Entries: room for what waits for the first clock, or a slow one, is not held for good.
constexpr size_t kMostKeptRoom = 8192;

uint64_t offset_of(const Timed& timed) {
    return std::visit([](const auto& entry) { return entry.offset; }, timed);
}

}  // namespace

Timing::Timing(EventLog& events, Pids& pids, Tables& tables, const Limits& limits,
               SeeTimeLine see_line, const std::optional<HistoryBounds>& history)
    : events_(events),
      pids_(pids),
      see_line_(std::move(see_line)),
      history_(history ? std::make_unique<History>(pids, *history) : nullptr),
      judge_(events, pids, tables, clock_, limits, history_.get()),
      gap_bytes_(kGapBytesWithoutClock) {}

void Timing::arrive(double now_s) {
    if (arrival_s_) {
        settle_segments(arrival_line());
        if (history_) history_->reach_live(*arrival_s_, now_s);
    }
    arrival_s_ = now_s;
    gap_bytes_ = UINT64_MAX;
}

void Timing::tick(double now_s, uint64_t offset) {
    if (!arrival_s_) return;
    settle_segments(arrival_line());
    judge_.tick(now_s, offset);
    if (history_) history_->reach_live(*arrival_s_, now_s);
}

bool Timing::settle_what_waits(uint64_t offset) {
    if (!clock_.rate_known()) return false;
    settle(*clock_.onward(), offset);
    if (history_) history_->reach(clock_.onward()->at(offset) / kPcrHz);
    clock_.hold(offset);
    return true;
}

// No clock came yet, and too much waits for it: this stays without a judgement.
void Timing::drop(const Timed& timed) {
    ++unjudged_;
    dropped_.any = true;
    dropped_.first_pat |= std::holds_alternative<FirstPat>(timed);
    dropped_.first_scrambled |= std::holds_alternative<FirstScrambled>(timed);
    if (const auto* const found = std::get_if<FoundEvent>(&timed))
        events_.settle(found->place, found->event);
}

void Timing::pcr(uint16_t pid, uint64_t offset, const PcrStep& step) {
    if (arrival_s_) return push(PcrCame{offset, pid, step, 0});
    const bool has_room = make_room(offset);
    const auto clock_before = clock_.pid();
    const auto line = clock_.see(pid, offset, step);
    const PcrCame came = {offset, pid, step, clock_.intervals()};
    if (has_room)
        waiting_.emplace_back(std::in_place_type<PcrCame>, came);
    else
        drop(came);
    if (!line) return;
    settle(*line, offset);
    if (history_) history_->reach(line->at(offset) / kPcrHz);
    gap_bytes_ = clock_.ticks_per_byte() > 0
                     ? static_cast<uint64_t>(kGapSeconds * kPcrHz / clock_.ticks_per_byte())
                     : UINT64_MAX;
    if (!clock_before || clock_before == clock_.pid()) return;
    tell({.kind = EventKind::kClockChanged, .pid = pid, .offset = offset, .a = *clock_before});
}

// Everything up to a place has its time on the line.
void Timing::settle(const TimeLine& line, uint64_t offset) {
    // After a loss of sync a place may lie beyond packets that were found since: it waits on.
    auto kept = waiting_.begin();
    for (const Timed& timed : waiting_) {
        if (offset_of(timed) > offset)
            *kept++ = timed;
        else
            judged_s_ = std::visit([&](const auto& entry) { return judge(entry, line); }, timed);
    }
    waiting_.erase(kept, waiting_.end());
    if (waiting_.empty() && waiting_.capacity() > kMostKeptRoom)
        waiting_ = std::vector<Timed>();  // = {} would keep the room
    settle_segments(line);
    if (see_line_) see_line_(line, offset);
    const Dropped dropped = std::exchange(dropped_, {});
    if (!dropped.any) return;
    judge_.tick(judged_s_, offset);
    const double now_s = line.at(offset) / kPcrHz;
    judge_.resume(now_s);
    if (dropped.first_pat) judge_.see(FirstPat{offset}, now_s);
    if (dropped.first_scrambled) judge_.see(FirstScrambled{offset}, now_s);
}

void Timing::settle_segments(const TimeLine& line) {
    for (const uint16_t pid : active_) {
        const PidRecord& record = pids_[pid];
        if (record.segment_open)
            judge(Segment{record.last_offset, pid, record.segment_first}, line);
    }
    active_.clear();
    ++segment_;
}

void Timing::begin_segment(uint16_t pid, uint64_t offset) {
    end_segment(pid);
    PidRecord& record = pids_[pid];
    if (record.segment != segment_) active_.push_back(pid);
    if (history_ && record.segment == 0) history_->see_pid(pid);
    record.segment = segment_;
    record.segment_first = offset;
    record.segment_open = true;
}

void Timing::end_segment(uint16_t pid) {
    PidRecord& record = pids_[pid];
    if (record.segment != segment_ || !record.segment_open) return;
    record.segment_open = false;
    record.look_again();
    push(Segment{record.last_offset, pid, record.segment_first});
}

void Timing::finish(uint64_t last_offset) {
    if (arrival_s_) {
        settle_segments(arrival_line());
        judge_.end(*arrival_s_, last_offset);
        if (history_) history_->end_live(*arrival_s_);
        return;
    }
    if (const auto line = clock_.onward()) {
        const double last_s = line->at(last_offset) / kPcrHz;
        settle(*line, UINT64_MAX);
        judge_.end(last_s, last_offset);
        if (history_) history_->end(last_s);
        return;
    }
    for (const Timed& timed : waiting_) {
        if (const auto* const found = std::get_if<FoundEvent>(&timed))
            events_.settle(found->place, found->event);
    }
    waiting_ = std::vector<Timed>();
}

}  // namespace zv::survey
