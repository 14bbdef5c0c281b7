// SPDX-License-Identifier: MIT
// Implementation of history.h. A row has all its steps from the start, so that only making one takes
// memory.
#include "survey/timing/history.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

namespace zv::survey {
namespace {

// Two steps become one.
template <typename Value, typename Join>
void merge_pairs(std::vector<Value>& steps, Value nothing, Join join) {
    for (size_t i = 0; i < steps.size(); ++i)
        steps[i] = 2 * i + 1 < steps.size() ? join(steps[2 * i], steps[2 * i + 1]) : nothing;
}

// The oldest go, and the others move to the front.
template <typename Value>
void drop_first(std::vector<Value>& steps, size_t count, Value nothing) {
    const auto gone = static_cast<std::ptrdiff_t>(std::min(count, steps.size()));
    std::fill(std::move(steps.begin() + gone, steps.end(), steps.begin()), steps.end(), nothing);
}

bool has_none(const StepValues& steps) {
    return std::ranges::all_of(steps, [](double value) { return std::isnan(value); });
}

// A number where the other is none.
double lesser(double a, double b) {
    return std::fmin(a, b);
}
double greater(double a, double b) {
    return std::fmax(a, b);
}

void merge_counts(StepCounts& steps) {
    merge_pairs(steps, uint64_t{0}, [](uint64_t a, uint64_t b) { return a + b; });
}

// -> the row; null when there is none, and too many others
template <typename Key, typename Row>
Row* row_of(std::map<Key, Row>& rows, const Key& key, size_t most) {
    const auto found = rows.find(key);
    if (found != rows.end()) return &found->second;
    return rows.size() < most ? &rows.try_emplace(key).first->second : nullptr;
}

template <typename Value>
void have_steps(std::vector<Value>& steps, Value nothing) {
    if (steps.empty()) steps.assign(StepGrid::kMostSteps, nothing);
}

}  // namespace

void StepExtremes::add(size_t step, double value) {
    have_steps(least, kNoTime);
    have_steps(most, kNoTime);
    least[step] = lesser(least[step], value);
    most[step] = greater(most[step], value);
}

void StepExtremes::merge() {
    merge_pairs(least, kNoTime, lesser);
    merge_pairs(most, kNoTime, greater);
}

void StepExtremes::drop(size_t count) {
    drop_first(least, count, kNoTime);
    drop_first(most, count, kNoTime);
}

bool StepExtremes::is_empty() const {
    return has_none(most);
}

inline std::optional<size_t> History::step_at(double time_s) {
    return grid_.reach(
        time_s, [this] { merge_steps(); },
        [this](uint64_t count) {
            drop_steps(static_cast<size_t>(std::min<uint64_t>(count, StepGrid::kMostSteps)));
        });
}

void History::merge_steps() {
    for (auto& [pid, row] : packets_)
        merge_counts(row.steps);
    merge_counts(other_packets_.steps);
    for (auto& [pid, row] : pcrs_) {
        row.intervals_ticks.merge();
        row.deviations_ns.merge();
    }
    for (auto& [pid, row] : pts_ahead_s_)
        row.merge();
    for (auto& [key, steps] : table_intervals_s_)
        merge_pairs(steps, kNoTime, greater);
    for (StepCounts& steps : counts_)
        merge_counts(steps);
}

void History::drop_steps(size_t count) {
    for (auto& [pid, row] : packets_)
        drop_first(row.steps, count, uint64_t{0});
    drop_first(other_packets_.steps, count, uint64_t{0});
    for (StepCounts& steps : counts_)
        drop_first(steps, count, uint64_t{0});
    for (auto& [pid, row] : pcrs_) {
        row.intervals_ticks.drop(count);
        row.deviations_ns.drop(count);
    }
    for (auto& [pid, row] : pts_ahead_s_)
        row.drop(count);
    for (auto& [key, steps] : table_intervals_s_)
        drop_first(steps, count, kNoTime);
    remove_empty_rows();
}

void History::remove_empty_rows() {
    std::erase_if(pcrs_, [](const auto& entry) {
        return entry.second.intervals_ticks.is_empty() && entry.second.deviations_ns.is_empty();
    });
    std::erase_if(pts_ahead_s_, [](const auto& entry) { return entry.second.is_empty(); });
    std::erase_if(table_intervals_s_, [](const auto& entry) { return has_none(entry.second); });
}

void History::see_pcr_interval(uint16_t pid, double time_s, double ticks) {
    const auto step = step_at(time_s);
    if (!step) return;
    if (PcrRow* const row = row_of(pcrs_, pid, pcr_rows_))
        row->intervals_ticks.add(*step, ticks);
    else
        ++pcr_left_out_;
}

void History::see_pcr_deviation(uint16_t pid, double time_s, double ns) {
    const auto step = step_at(time_s);
    if (!step) return;
    if (PcrRow* const row = row_of(pcrs_, pid, pcr_rows_))
        row->deviations_ns.add(*step, ns);
    else
        ++pcr_left_out_;
}

void History::see_pts_ahead(uint16_t pid, double time_s, double seconds) {
    const auto step = step_at(time_s);
    if (!step) return;
    if (StepExtremes* const row = row_of(pts_ahead_s_, pid, pts_rows_))
        row->add(*step, seconds);
    else
        ++pts_left_out_;
}

void History::see_table_interval(uint16_t pid, uint8_t table_id, double time_s, double seconds) {
    const auto step = step_at(time_s);
    if (!step) return;
    StepValues* const row = row_of(table_intervals_s_, TableKey{pid, table_id}, table_rows_);
    if (!row) {
        ++tables_left_out_;
        return;
    }
    have_steps(*row, kNoTime);
    (*row)[*step] = greater((*row)[*step], seconds);
}

void History::see_count(Indicator indicator, double time_s) {
    if (std::isnan(time_s)) return;
    const auto step = step_at(time_s);
    if (!step) return;
    StepCounts& steps = counts_[static_cast<size_t>(indicator)];
    have_steps(steps, uint64_t{0});
    ++steps[*step];
}

void History::reach_live(double came_s, double now_s) {
    if (came_.empty()) return;
    // What came since the step before is of this one, however long nothing comes after it.
    if (grid_.step_of(now_s) > grid_.step_of(came_s)) count_packets(came_s, came_s);
    step_at(now_s);
}

void History::end_live(double last_s) {
    if (!came_.empty()) count_packets(last_s, last_s);
}

// The first PIDs have a row each.
void History::give_rows() {
    for (; looked_at_ < came_.size(); ++looked_at_)
        if (looked_at_ < packet_rows_) packets_.try_emplace(came_[looked_at_]);
}

// The packets that are not in the steps yet came from from_s to to_s.
void History::count_packets(double from_s, double to_s) {
    step_at(to_s);
    give_rows();
    const Stretch stretch = {
        from_s, to_s, grid_.step_s(), grid_.dropped(), grid_.step_of(from_s), grid_.step_of(to_s)};
    for (auto& [pid, row] : packets_)
        spread(row, pids_[pid].packets, stretch);
    if (looked_at_ > packet_rows_) spread(other_packets_, packets_of_others(), stretch);
    counted_s_ = to_s;
}

uint64_t History::packets_of_others() const {
    uint64_t packets = 0;
    for (const uint16_t pid : std::span(came_).first(looked_at_).subspan(packet_rows_))
        packets += pids_[pid].packets;
    return packets;
}

// Spreads what is new evenly over a time: whole packets, and all of them that are in the steps.
// packets  in  in all, those that are or were in the steps included
void History::spread(PacketRow& row, uint64_t packets, const Stretch& over) {
    have_steps(row.steps, uint64_t{0});
    const uint64_t added = packets - std::exchange(row.counted, packets);
    if (over.last < over.kept) return;
    const auto before = [&](uint64_t step) {
        const double begin_s = static_cast<double>(step) * over.step_s;
        const double part =
            std::clamp((begin_s - over.from_s) / (over.to_s - over.from_s), 0.0, 1.0);
        return static_cast<uint64_t>(std::llround(static_cast<double>(added) * part));
    };
    uint64_t so_far = over.from < over.kept ? before(over.kept) : 0;
    for (uint64_t step = std::max(over.from, over.kept); step < over.last; ++step) {
        const uint64_t by_then = before(step + 1);
        row.steps[step - over.kept] += by_then - so_far;
        so_far = by_then;
    }
    row.steps[over.last - over.kept] += added - so_far;
}

}  // namespace zv::survey
