// SPDX-License-Identifier: MIT
// How a stream went over its time, in the steps of step_grid.h: packets of each PID, extremes of PCR
// intervals, PCR accuracy, lead of time stamps and table intervals, counts of the indicators. Memory
// is bounded: a row for so many PIDs or tables, made when there is something to put into it. Of a
// history that keeps the latest time only, rows that became empty are given to others.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "survey/records/indicators.h"
#include "survey/records/pids.h"
#include "survey/time/step_grid.h"

namespace zv::survey {

// A value a step: NaN where there is none. And a count a step.
using StepValues = std::vector<double>;
using StepCounts = std::vector<uint64_t>;

struct StepExtremes {
    StepValues least, most;  // both empty until the first value

    void add(size_t step, double value);
    void merge();
    void drop(size_t count);
    bool is_empty() const;
};

struct HistoryBounds {
    size_t rows = SIZE_MAX;  // of each list at most, besides the bounds of History
    uint32_t span_s = 0;     // what is kept at least of the latest time; 0: all of it
};

class History {
  public:
    static constexpr size_t kMostPacketRows = 1024;
    static constexpr size_t kMostPcrRows = 256;
    static constexpr size_t kMostPtsRows = 512;
    static constexpr size_t kMostTableRows = 512;

    struct PacketRow {
        uint64_t counted = 0;  // of the PID's packets, those that are or were in the steps
        StepCounts steps;
    };
    struct PcrRow {
        StepExtremes intervals_ticks;
        StepExtremes deviations_ns;
    };
    struct TableKey {
        uint16_t pid;
        uint8_t table_id;

        auto operator<=>(const TableKey&) const = default;
    };

    // pids  in  whose packets are counted; longer-lived
    History(const Pids& pids, const HistoryBounds& bounds)
        : packet_rows_(std::min(bounds.rows, kMostPacketRows)),
          pcr_rows_(std::min(bounds.rows, kMostPcrRows)),
          pts_rows_(std::min(bounds.rows, kMostPtsRows)),
          table_rows_(std::min(bounds.rows, kMostTableRows)),
          pids_(pids),
          grid_(bounds.span_s) {}

    // The first packet of a PID came.
    void see_pid(uint16_t pid) { came_.push_back(pid); }

    // What was measured, at its time; nothing is kept of what is older than the first step.
    void see_pcr_interval(uint16_t pid, double time_s, double ticks);
    void see_pcr_deviation(uint16_t pid, double time_s, double ns);
    void see_pts_ahead(uint16_t pid, double time_s, double seconds);
    void see_table_interval(uint16_t pid, uint8_t table_id, double time_s, double seconds);
    void see_count(Indicator indicator, double time_s);  // not where the time is not known

    // All packets that were counted so far came by now. Cheap while the step is the same.
    void reach(double now_s) {
        if (grid_.step_of(now_s) > grid_.step_of(counted_s_)) count_packets(counted_s_, now_s);
    }

    // The last packet came.
    void end(double last_s) { count_packets(counted_s_, last_s); }

    // The same live. What was counted so far came by came_s, and until now_s nothing else did.
    void reach_live(double came_s, double now_s);
    void end_live(double last_s);

    double start_s() const { return grid_.start_s(); }
    size_t steps() const { return grid_.steps(); }
    double step_s() const { return grid_.step_s(); }
    const std::map<uint16_t, PacketRow>& packets() const { return packets_; }
    const StepCounts& other_packets() const { return other_packets_.steps; }  // empty: none
    const std::map<uint16_t, PcrRow>& pcrs() const { return pcrs_; }
    const std::map<uint16_t, StepExtremes>& pts_ahead_s() const { return pts_ahead_s_; }
    const std::map<TableKey, StepValues>& table_intervals_s() const { return table_intervals_s_; }
    const StepCounts& counts(Indicator indicator) const {  // empty: it counted nothing
        return counts_[static_cast<size_t>(indicator)];
    }

    // -> measurements for which there was no row
    uint64_t pcr_left_out() const { return pcr_left_out_; }
    uint64_t pts_left_out() const { return pts_left_out_; }
    uint64_t tables_left_out() const { return tables_left_out_; }

  private:
    // A time in which packets came, and the steps that it is in.
    struct Stretch {
        double from_s, to_s;
        double step_s;
        uint64_t kept;  // the first step that is
        uint64_t from, last;
    };

    [[gnu::always_inline]] std::optional<size_t> step_at(double time_s);
    void merge_steps();
    void drop_steps(size_t count);
    void remove_empty_rows();
    void count_packets(double from_s, double to_s);
    void give_rows();
    uint64_t packets_of_others() const;
    void spread(PacketRow& row, uint64_t packets, const Stretch& over);

    const size_t packet_rows_, pcr_rows_, pts_rows_, table_rows_;
    const Pids& pids_;
    StepGrid grid_;
    double counted_s_ = 0;        // up to here packets are in the steps
    std::vector<uint16_t> came_;  // PIDs, in the order of their first packets
    size_t looked_at_ = 0;        // of these
    std::map<uint16_t, PacketRow> packets_;
    PacketRow other_packets_;  // of the PIDs without a row
    std::map<uint16_t, PcrRow> pcrs_;
    std::map<uint16_t, StepExtremes> pts_ahead_s_;
    std::map<TableKey, StepValues> table_intervals_s_;
    std::array<StepCounts, kIndicators.size()> counts_;
    uint64_t pcr_left_out_ = 0;
    uint64_t pts_left_out_ = 0;
    uint64_t tables_left_out_ = 0;
};

}  // namespace zv::survey
