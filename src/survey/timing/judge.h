// SPDX-License-Identifier: MIT
// Judges what came by when it came, as ETSI TR 101 290 has it: repetition of tables, PCRs and PTS,
// presence of PIDs, accuracy of PCRs. And measures the intervals between them.
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "survey/records/events.h"
#include "survey/records/pids.h"
#include "survey/timing/history.h"
#include "survey/timing/timed.h"

namespace zv::survey {

class Judge {
  public:
    static constexpr size_t kMostSubTables = 16384;
    static constexpr size_t kMostPcrLines = 1024;  // PIDs whose PCRs are compared with a line

    // clock    in   tells whether PCRs can be compared with a line
    // history  out  gets what was measured, step by step; may be null
    Judge(EventLog& events, Pids& pids, Tables& tables, const Clock& clock, const Limits& limits,
          History* history);

    // Takes what came, in order. now_s: the time of its offset.
    void see(const FoundEvent& found, double now_s);
    void see(const SectionBegun& begun, double now_s);
    void see(const SectionDone& done, double now_s);
    void see(const PcrCame& came, double now_s);
    void see(const PtsCame& came, double now_s);
    void see(const PtsInterrupted& interrupted, double now_s);
    void see(const RoleChange& change, double now_s);
    void see(const ProgramChange& change, double now_s);
    void see(const FirstPat& first, double now_s);
    void see(const FirstScrambled& first, double now_s);
    void see_segment(const Segment& segment, double first_s, double last_s);

    // Counts the waits whose limit has passed by now, although nothing came.
    void tick(double now_s, uint64_t offset);

    // Settles what is open at the end of the stream.
    void end(double now_s, uint64_t offset);

    // Some of what came was not judged: what runs begins anew.
    void resume(double now_s);

    // -> how many sub-tables are not looked at, for there are too many
    uint64_t sub_tables_left_out() const { return sub_tables_left_out_; }

  private:
    struct Repetition {
        Wait* wait;
        Indicator indicator;
        double limit_s;
    };
    struct SubTable {
        Wait wait;
        Indicator indicator;
        uint16_t pid;
    };
    // Of EIT present/following: section 0 or 1 has come, the other is waited for.
    struct PresentFollowing {
        Wait wait;
        uint8_t came = 0;  // number
        uint16_t service_id = 0;
    };
    struct ProgramWait {
        Wait wait;
        uint16_t pmt_pid = 0;
    };

    Repetition repetition_of(const SectionDone& done);
    Wait* sub_table(const SectionDone& done, Indicator indicator);
    void note_interval(const SectionDone& done, double begin_s);
    void check_distance(const SectionDone& done, double begin_s);
    void check_present_following(const SectionDone& done, double begin_s);
    void check_unreferenced(PidTiming& timing, const Segment& segment);
    void check_wait(Wait& wait, Indicator indicator, double limit_s, int pid, double now_s,
                    uint64_t offset);
    void check_missing(PresentFollowing& sub_table, double now_s, uint64_t offset);
    double limit_of(Indicator indicator) const;
    void note_loss(uint64_t intervals);
    // -> a function that judges the PCRs of a block, by the clock as it was after so many intervals
    auto pcr_judge(uint16_t pid, PidTiming& of_pid, uint64_t intervals);
    void judge_pcr(uint16_t pid, PidTiming& timing, const PcrLine::Point& point, double ns);
    void count(Event event, double time_s);
    void settle(uint32_t place, const Event& event);
    template <typename See>
    void for_each_wait(See see);
    PidTiming& timing(uint16_t pid) { return pids_.detail(pid).timing; }

    EventLog& events_;
    Pids& pids_;
    Tables& tables_;
    const Clock& clock_;
    const Limits limits_;
    History* const history_;

    Wait pat_, cat_, nit_actual_, sdt_actual_, tdt_, tot_;
    Wait eit_actual_[2], eit_other_[2];  // by section_number
    bool cat_came_ = false;
    double first_pat_s_ = kNoTime;
    std::unordered_map<uint16_t, ProgramWait> programs_;
    std::map<uint32_t, SubTable> sub_tables_;
    std::map<uint32_t, PresentFollowing> present_following_;
    uint64_t sub_tables_left_out_ = 0;
    std::vector<uint16_t> in_runs_;  // PIDs with PCRs since packets were lost last
    size_t pcr_lines_ = 0;
    uint64_t losses_ = 0;
};

}  // namespace zv::survey
