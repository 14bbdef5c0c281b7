// SPDX-License-Identifier: MIT
// Implementation of judge.h.
#include "survey/timing/judge.h"

#include <cmath>
#include <utility>

#include "survey/psi/psi.h"
#include "survey/records/table_rules.h"

namespace zv::survey {
namespace {

constexpr uint64_t kPtsToPcr = 300;

uint32_t milliseconds(double seconds) {
    return static_cast<uint32_t>(std::lround(std::clamp(seconds * 1000, 0.0, 4e9)));
}

uint32_t sub_table_key(const SectionDone& done) {
    return uint32_t{done.table_id} << 24 | uint32_t{done.extension} << 8 | done.number;
}

// Signed and wrapped: how far a time stamp is ahead of the PCR, in seconds.
double seconds_ahead(uint64_t decoding, uint64_t pcr, double since_pcr_s) {
    const uint64_t ticks = wrap_pcr(decoding * kPtsToPcr + kPcrRange - pcr);
    const double signed_ticks = ticks > kPcrRange / 2 ? -static_cast<double>(kPcrRange - ticks)
                                                      : static_cast<double>(ticks);
    return signed_ticks / kPcrHz - since_pcr_s;
}

}  // namespace

Judge::Judge(EventLog& events, Pids& pids, Tables& tables, const Clock& clock, const Limits& limits,
             History* history)
    : events_(events),
      pids_(pids),
      tables_(tables),
      clock_(clock),
      limits_(limits),
      history_(history) {
    pat_.begin(0);
}

void Judge::count(Event event, double time_s) {
    event.time_s = time_s;
    settle(events_.found(event), event);
}

void Judge::settle(uint32_t place, const Event& event) {
    events_.settle(place, event);
    if (history_ && is_indicator(event.kind))
        history_->see_count(static_cast<Indicator>(event.kind), event.time_s);
}

// Counts a wait whose limit has passed.
void Judge::check_wait(Wait& wait, Indicator indicator, double limit_s, int pid, double now_s,
                       uint64_t offset) {
    if (!wait.is_over(limit_s, now_s)) return;
    count({.kind = event_of(indicator), .pid = pid, .offset = offset, .a = milliseconds(limit_s)},
          wait.since_s + limit_s);
}

void Judge::see(const FoundEvent& found, double now_s) {
    Event event = found.event;
    event.time_s =
        found.of_section ? timing(static_cast<uint16_t>(event.pid)).section_begin_s : now_s;
    settle(found.place, event);
    const bool is_loss = event.kind == event_of(Indicator::kContinuityCountError) ||
                         event.kind == event_of(Indicator::kTsSyncLoss);
    if (is_loss) note_loss(found.intervals);
}

// The verdict on the rate is asked for once a block.
auto Judge::pcr_judge(uint16_t pid, PidTiming& of_pid, uint64_t intervals) {
    return [=, this, &of_pid, constant = std::optional<bool>()](const PcrLine::Point& point,
                                                                double ns) mutable {
        if (!constant) constant = clock_.constant_rate_after(intervals).value_or(false);
        if (*constant) judge_pcr(pid, of_pid, point, ns);
    };
}

// Packets are missing: what was on a line may have moved.
void Judge::note_loss(uint64_t intervals) {
    ++losses_;
    for (const uint16_t pid : std::exchange(in_runs_, {})) {
        PidTiming& of_pid = timing(pid);
        of_pid.in_run = false;
        of_pid.pcr_line->end_run(pcr_judge(pid, of_pid, intervals));
    }
}

void Judge::see_segment(const Segment& segment, double first_s, double last_s) {
    PidTiming& of_pid = timing(segment.pid);
    if (std::isnan(of_pid.first_s)) of_pid.first_s = first_s;
    of_pid.last_s = last_s;
    if (of_pid.presence.running) {
        check_wait(of_pid.presence, Indicator::kPidError, limits_.pid, segment.pid, first_s,
                   segment.first);
        of_pid.presence.begin(last_s);
    }
    check_unreferenced(of_pid, segment);
}

void Judge::check_unreferenced(PidTiming& of_pid, const Segment& segment) {
    const bool exempt =
        segment.pid <= kLastReservedPid || segment.pid == kPidPsip || segment.pid == kPidNull;
    if (exempt || of_pid.named || of_pid.reported || std::isnan(first_pat_s_)) return;
    const double since =
        std::max({of_pid.first_s, first_pat_s_, of_pid.unnamed_since_s}) + limits_.unreferenced;
    if (of_pid.last_s <= since + rounding_s(since)) return;
    of_pid.reported = true;
    count({.kind = event_of(Indicator::kUnreferencedPid),
           .pid = segment.pid,
           .offset = segment.offset},
          since);
}

void Judge::see(const SectionBegun& begun, double now_s) {
    timing(begun.pid).section_begin_s = now_s;
}

void Judge::see(const SectionDone& done, double now_s) {
    const double begun_s = timing(done.pid).section_begin_s;
    const double begin_s = std::isnan(begun_s) ? now_s : begun_s;
    if (done.record) {
        if (done.is_current) {
            check_distance(done, begin_s);
            done.record->timing.last_end_s = now_s;
        }
        if (done.number == 0) {
            note_interval(done, begin_s);
        }
    }
    if (done.pid == kPidCat && done.table_id == kTableIdCat && done.is_long) {
        cat_came_ = true;
        check_wait(cat_, Indicator::kCatError, limits_.cat, done.pid, begin_s, done.offset);
        cat_.end();
    }
    const Repetition repetition = repetition_of(done);
    if (!repetition.wait) return;
    check_wait(*repetition.wait, repetition.indicator, repetition.limit_s, done.pid, begin_s,
               done.offset);
    repetition.wait->begin(begin_s);
    check_present_following(done, begin_s);
}

// From the section of number 0 before to this one.
void Judge::note_interval(const SectionDone& done, double begin_s) {
    TableTiming& of_table = done.record->timing;
    const double interval_s = begin_s - std::exchange(of_table.last_begin_s, begin_s);
    if (std::isnan(interval_s)) return;
    of_table.intervals_s.add(interval_s);
    if (history_) history_->see_table_interval(done.pid, done.table_id, begin_s, interval_s);
}

void Judge::check_distance(const SectionDone& done, double begin_s) {
    const auto indicator = distance_indicator(done.pid, done.table_id);
    if (!indicator || std::isnan(done.record->timing.last_end_s)) return;
    const double distance = begin_s - done.record->timing.last_end_s;
    if (distance >= limits_.section_distance - rounding_s(begin_s)) return;
    count({.kind = event_of(*indicator),
           .clause = Clause::kTooClose,
           .pid = done.pid,
           .offset = done.offset,
           .a = done.table_id},
          begin_s);
}

// -> which wait a section ends and begins anew; none for tables without a limit
Judge::Repetition Judge::repetition_of(const SectionDone& done) {
    const Repetition none = {nullptr, Indicator::kPatError2, 0};
    const bool short_table = done.table_id == kTableIdTdt || done.table_id == kTableIdTot;
    if (!done.is_long && !short_table) return none;
    const bool present_or_following = done.number < 2;
    if (done.of_program) {
        ProgramWait& program = programs_[done.extension];
        program.pmt_pid = done.pid;
        return {&program.wait, Indicator::kPmtError2, limits_.pmt};
    }
    switch (done.pid << 8 | done.table_id) {
        case kPidPat << 8 | kTableIdPat:
            return {&pat_, Indicator::kPatError2, limits_.pat};
        case kPidNit << 8 | kTableIdNitActual:
            return {&nit_actual_, Indicator::kNitActualError, limits_.nit_actual};
        case kPidNit << 8 | kTableIdNitOther:
            return {sub_table(done, Indicator::kNitOtherError), Indicator::kNitOtherError,
                    limits_.nit_other};
        case kPidSdt << 8 | kTableIdSdtActual:
            return {&sdt_actual_, Indicator::kSdtActualError, limits_.sdt_actual};
        case kPidSdt << 8 | kTableIdSdtOther:
            return {sub_table(done, Indicator::kSdtOtherError), Indicator::kSdtOtherError,
                    limits_.sdt_other};
        case kPidSdt << 8 | kTableIdBat:
            return {sub_table(done, Indicator::kSiRepetitionError), Indicator::kSiRepetitionError,
                    limits_.bat};
        case kPidTdt << 8 | kTableIdTot:
            return {&tot_, Indicator::kSiRepetitionError, limits_.tot};
        case kPidEit << 8 | kTableIdEitActual:
            if (!present_or_following) return none;
            return {&eit_actual_[done.number], Indicator::kEitActualError, limits_.eit_actual};
        case kPidEit << 8 | kTableIdEitOther:
            if (!present_or_following) return none;
            return {&eit_other_[done.number], Indicator::kEitOtherError, limits_.eit_other};
        case kPidTdt << 8 | kTableIdTdt:
            return {&tdt_, Indicator::kTdtError, limits_.tdt};
        default:
            return none;
    }
}

// Sections of the BAT are told apart by bouquet only, those of NIT and SDT other by number, too.
Wait* Judge::sub_table(const SectionDone& done, Indicator indicator) {
    SectionDone key = done;
    if (done.table_id == kTableIdBat) key.number = 0;
    const auto found = sub_tables_.find(sub_table_key(key));
    if (found != sub_tables_.end()) return &found->second.wait;
    if (sub_tables_.size() >= kMostSubTables) {
        ++sub_tables_left_out_;
        return nullptr;
    }
    SubTable& made = sub_tables_[sub_table_key(key)];
    made.indicator = indicator;
    made.pid = done.pid;
    return &made.wait;
}

// Of a sub-table of EIT present/following both sections must come, once.
void Judge::check_present_following(const SectionDone& done, double begin_s) {
    if (done.pid != kPidEit || done.number > 1) return;
    SectionDone key = done;
    key.number = 0;
    const auto found = present_following_.find(sub_table_key(key));
    if (found == present_following_.end()) {
        if (present_following_.size() >= kMostSubTables) {
            ++sub_tables_left_out_;
            return;
        }
        PresentFollowing& made = present_following_[sub_table_key(key)];
        made.came = done.number;
        made.service_id = done.extension;
        made.wait.begin(begin_s);
        return;
    }
    PresentFollowing& sub_table = found->second;
    if (sub_table.came == done.number) return;
    check_missing(sub_table, begin_s, done.offset);
    sub_table.wait.end();
}

void Judge::check_missing(PresentFollowing& sub_table, double now_s, uint64_t offset) {
    if (!sub_table.wait.is_over(limits_.eit_pf, now_s)) return;
    count({.kind = event_of(Indicator::kEitPfError),
           .pid = kPidEit,
           .offset = offset,
           .a = 1u - sub_table.came,
           .b = sub_table.service_id},
          sub_table.wait.since_s + limits_.eit_pf);
}

void Judge::see(const PcrCame& came, double now_s) {
    PidTiming& of_pid = timing(came.pid);
    const double apart = now_s - of_pid.last_pcr_s;
    if (!came.step.first && !came.step.signalled &&
        apart > limits_.pcr_repetition + rounding_s(now_s)) {
        count({.kind = event_of(Indicator::kPcrRepetitionError),
               .pid = came.pid,
               .offset = came.offset,
               .a = milliseconds(apart)},
              now_s);
    }
    of_pid.last_pcr_s = now_s;
    if (history_ && came.step.sound())
        history_->see_pcr_interval(came.pid, now_s, static_cast<double>(came.step.ticks));
    if (!of_pid.pcr_line && pcr_lines_ < kMostPcrLines) {
        of_pid.pcr_line = std::make_unique<PcrLine>();
        ++pcr_lines_;
    }
    if (!of_pid.pcr_line) return;
    of_pid.pcr_line->add(came.step, came.offset, now_s, losses_,
                         pcr_judge(came.pid, of_pid, came.intervals));
    if (!std::exchange(of_pid.in_run, true)) in_runs_.push_back(came.pid);
}

void Judge::judge_pcr(uint16_t pid, PidTiming& of_pid, const PcrLine::Point& point, double ns) {
    of_pid.deviations_ns.add(ns);
    if (history_) history_->see_pcr_deviation(pid, point.time_s, ns);
    if (std::abs(ns) <= limits_.pcr_accuracy_ns) return;
    count({.kind = event_of(Indicator::kPcrAccuracyError),
           .pid = pid,
           .offset = point.offset,
           .a = static_cast<uint32_t>(static_cast<int32_t>(std::clamp(ns, -2e9, 2e9)))},
          point.time_s);
}

void Judge::see(const PtsCame& came, double now_s) {
    PidTiming& of_pid = timing(came.pid);
    if (!std::isnan(of_pid.last_pts_s)) of_pid.pts_intervals_s.add(now_s - of_pid.last_pts_s);
    of_pid.last_pts_s = now_s;
    if (came.reference_pid != kNoPid) {
        const double since_pcr =
            now_s - timing(static_cast<uint16_t>(came.reference_pid)).last_pcr_s;
        if (!std::isnan(since_pcr)) {
            const double ahead_s = seconds_ahead(came.decoding, came.reference, since_pcr);
            of_pid.ahead_s.add(ahead_s);
            if (history_) history_->see_pts_ahead(came.pid, now_s, ahead_s);
        }
    }
    if (!of_pid.pts_due) return;
    check_wait(of_pid.pts, Indicator::kPtsError, limits_.pts, came.pid, now_s, came.offset);
    of_pid.pts.begin(now_s);
}

void Judge::see(const PtsInterrupted& interrupted, double now_s) {
    Wait& wait = timing(interrupted.pid).pts;
    check_wait(wait, Indicator::kPtsError, limits_.pts, interrupted.pid, now_s, interrupted.offset);
    wait.end();
}

void Judge::see(const RoleChange& change, double now_s) {
    PidTiming& of_pid = timing(change.pid);
    switch (change.role) {
        case Role::kNamed:
            of_pid.named = change.begins;
            if (!change.begins) of_pid.unnamed_since_s = now_s;
            break;
        case Role::kPresence:
            if (change.begins) return of_pid.presence.begin(now_s);
            check_wait(of_pid.presence, Indicator::kPidError, limits_.pid, change.pid, now_s,
                       change.offset);
            of_pid.presence.end();
            break;
        case Role::kPts:
            of_pid.pts_due = change.begins;
            if (change.begins) return;
            check_wait(of_pid.pts, Indicator::kPtsError, limits_.pts, change.pid, now_s,
                       change.offset);
            of_pid.pts.end();
            break;
        case Role::kPmt:
            break;
    }
}

void Judge::see(const ProgramChange& change, double now_s) {
    if (change.begins) {
        ProgramWait& program = programs_[change.number];
        check_wait(program.wait, Indicator::kPmtError2, limits_.pmt, program.pmt_pid, now_s,
                   change.offset);  // its map is on another PID now
        program.pmt_pid = change.pmt_pid;
        return program.wait.begin(now_s);
    }
    const auto found = programs_.find(change.number);
    if (found == programs_.end()) return;
    check_wait(found->second.wait, Indicator::kPmtError2, limits_.pmt, change.pmt_pid, now_s,
               change.offset);
    programs_.erase(found);
}

void Judge::see(const FirstPat&, double now_s) {
    first_pat_s_ = now_s;
}

void Judge::see(const FirstScrambled&, double now_s) {
    if (!cat_came_) cat_.begin(now_s);
}

// Calls see(wait, indicator, limit_s, pid) for each wait.
template <typename See>
void Judge::for_each_wait(See see) {
    see(pat_, Indicator::kPatError2, limits_.pat, kPidPat);
    see(cat_, Indicator::kCatError, limits_.cat, kPidCat);
    see(nit_actual_, Indicator::kNitActualError, limits_.nit_actual, kPidNit);
    see(sdt_actual_, Indicator::kSdtActualError, limits_.sdt_actual, kPidSdt);
    see(tdt_, Indicator::kTdtError, limits_.tdt, kPidTdt);
    see(tot_, Indicator::kSiRepetitionError, limits_.tot, kPidTdt);
    for (Wait& wait : eit_actual_)
        see(wait, Indicator::kEitActualError, limits_.eit_actual, kPidEit);
    for (Wait& wait : eit_other_)
        see(wait, Indicator::kEitOtherError, limits_.eit_other, kPidEit);
    for (auto& [number, program] : programs_)
        see(program.wait, Indicator::kPmtError2, limits_.pmt, program.pmt_pid);
    for (auto& [key, sub_table] : sub_tables_)
        see(sub_table.wait, sub_table.indicator, limit_of(sub_table.indicator), sub_table.pid);
    pids_.for_each_detail([&](uint16_t pid, PidDetail& detail) {
        see(detail.timing.presence, Indicator::kPidError, limits_.pid, pid);
        see(detail.timing.pts, Indicator::kPtsError, limits_.pts, pid);
    });
}

double Judge::limit_of(Indicator indicator) const {
    switch (indicator) {
        case Indicator::kNitOtherError:
            return limits_.nit_other;
        case Indicator::kSdtOtherError:
            return limits_.sdt_other;
        default:
            return limits_.bat;
    }
}

void Judge::tick(double now_s, uint64_t offset) {
    for_each_wait([&](Wait& wait, Indicator indicator, double limit_s, uint16_t pid) {
        check_wait(wait, indicator, limit_s, pid, now_s, offset);
    });
    for (auto& [key, sub_table] : present_following_)
        check_missing(sub_table, now_s, offset);
}

void Judge::end(double now_s, uint64_t offset) {
    note_loss(clock_.intervals());
    tick(now_s, offset);
}

void Judge::resume(double now_s) {
    note_loss(0);
    programs_.clear();
    for_each_wait([&](Wait& wait, Indicator, double, uint16_t) {
        if (wait.running) wait.begin(now_s);
    });
    for (auto& [key, sub_table] : present_following_)
        if (sub_table.wait.running) sub_table.wait.begin(now_s);
    tables_.forget_times();
    pids_.for_each_detail([&](uint16_t, PidDetail& detail) {
        PidTiming& of_pid = detail.timing;
        of_pid.last_pcr_s = of_pid.last_pts_s = kNoTime;
        of_pid.named = detail.has(Role::kNamed);
        of_pid.unnamed_since_s = now_s;
        of_pid.pts_due = detail.has(Role::kPts);
        of_pid.pts.end();
        of_pid.section_begin_s = kNoTime;
        of_pid.presence.end();
        if (detail.has(Role::kPresence)) of_pid.presence.begin(now_s);
    });
}

}  // namespace zv::survey
