// SPDX-License-Identifier: MIT
// Brings what came and its time together. In a file the time of a byte is known backwards, at the next
// PCR of the clock: until then what needs it waits in a queue, in the order in which it came. Live it
// is the time of arrival.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <variant>
#include <vector>

#include "survey/time/clock.h"
#include "survey/timing/judge.h"
#include "survey/timing/timed.h"

namespace zv::survey {

using SeeTimeLine = std::function<void(const TimeLine& line, uint64_t end)>;

class Timing {
  public:
    static constexpr size_t kMostWaiting = 65536;

    // see_line  in  gets each line of time, and where it ends; may be empty
    // history   in  what is measured is kept step by step, too, within these bounds
    Timing(EventLog& events, Pids& pids, Tables& tables, const Limits& limits, SeeTimeLine see_line,
           const std::optional<HistoryBounds>& history);

    // The first packet was found.
    void begin(size_t packet_size, uint64_t first_offset) {
        clock_.begin(packet_size, first_offset);
    }

    // What follows comes at this time, in seconds: the stream is live.
    void arrive(double now_s);
    bool live() const { return arrival_s_.has_value(); }

    // Takes what came: one of the entries of timed.h. Where it waits it is only stored, member by
    // member: a copy of what was just written would be read in larger pieces, for which the
    // processor waits. So nothing here but copies takes the address of `entry`.
    template <typename Entry>
    [[gnu::always_inline]] void push(const Entry& entry) {
        if (arrival_s_)
            judge_at_arrival(Entry(entry));
        else if (make_room(entry.offset))
            waiting_.emplace_back(std::in_place_type<FirstPat>).template emplace<Entry>(entry);
        else
            drop(Timed(entry));
    }
    void tell(const Event& event) {
        push(FoundEvent{event.offset, event, events_.found(event), clock_.intervals(), false});
    }

    // The same of a section: its time is that of the packet in which the section begins.
    void tell_of_section(const Event& event) {
        push(FoundEvent{event.offset, event, events_.found(event), 0, true});
    }
    void pcr(uint16_t pid, uint64_t offset, const PcrStep& step);

    // A packet came whose record belongs to an older segment, or after a gap that could matter.
    void begin_segment(uint16_t pid, uint64_t offset);

    // The packets of a PID so far belong together; others follow.
    void end_segment(uint16_t pid);

    // -> the number of the current segment of time, one more for each; and the gap that could matter
    uint64_t segment() const { return segment_; }
    uint64_t gap_bytes() const { return gap_bytes_; }

    // -> true when a packet of a PID belongs to the segment of those before
    bool same_segment(const PidRecord& record, uint64_t offset) const {
        return record.segment == segment_ && offset - record.last_offset <= gap_bytes_;
    }

    // Live: time passes although nothing comes.
    // offset  in  where the next packet would begin
    void tick(double now_s, uint64_t offset);

    // Ends the stream. last_offset: of the last packet
    void finish(uint64_t last_offset);

    // -> true when PCRs can be compared with a line
    bool constant_rate() const { return !live() && clock_.constant_rate().value_or(false); }

    const Clock& clock() const { return clock_; }
    const Judge& judge() const { return judge_; }
    const History* history() const { return history_.get(); }  // null: none is kept
    std::optional<double> arrival_s() const { return arrival_s_; }

    // -> what was not judged, for no clock came in time
    uint64_t unjudged() const { return unjudged_; }

  private:
    // -> the time of the entry
    template <typename Entry>
    double judge(const Entry& entry, const TimeLine& line) {
        const double now_s = line.at(entry.offset) / kPcrHz;
        if constexpr (std::is_same_v<Entry, Segment>)
            judge_.see_segment(entry, line.at(entry.first) / kPcrHz, now_s);
        else
            judge_.see(entry, now_s);
        return now_s;
    }

    template <typename Entry>
    [[gnu::noinline]] void judge_at_arrival(const Entry& entry) {
        judge(entry, arrival_line());
    }

    void settle(const TimeLine& line, uint64_t offset);
    void settle_segments(const TimeLine& line);
    // -> false when too much waits for the first clock
    bool make_room(uint64_t offset) {
        return waiting_.size() < kMostWaiting || settle_what_waits(offset);
    }
    bool settle_what_waits(uint64_t offset);
    void drop(const Timed& timed);
    TimeLine arrival_line() const { return {0, *arrival_s_ * kPcrHz, 0}; }

    EventLog& events_;
    Pids& pids_;
    SeeTimeLine see_line_;
    Clock clock_;
    const std::unique_ptr<History> history_;
    Judge judge_;
    std::optional<double> arrival_s_;
    std::vector<Timed> waiting_;
    std::vector<uint16_t> active_;  // PIDs with packets in the segment
    uint64_t segment_ = 1;
    uint64_t gap_bytes_;
    uint64_t unjudged_ = 0;
    struct Dropped {
        bool any = false;
        bool first_pat = false;
        bool first_scrambled = false;
    };
    Dropped dropped_;      // since it was judged last
    double judged_s_ = 0;  // up to here
};

}  // namespace zv::survey
