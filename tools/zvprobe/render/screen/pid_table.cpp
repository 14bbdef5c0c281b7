// SPDX-License-Identifier: MIT
// Part of stream_parts.h: the table of PIDs, with bars.
#include <algorithm>
#include <cmath>

#include "base/printable.h"
#include "base/texts.h"
#include "render/screen/stream_parts.h"
#include "render/ts/ts_text_parts.h"
#include "zvsurvey.h"

namespace zvprobe {
namespace {

constexpr size_t kPidCells = 6;
constexpr size_t kRateCells = 12;
constexpr size_t kCountCells = 7;
constexpr size_t kProgramCells = 5;
constexpr size_t kFixedCells =
    kPidCells + 1 + kRateCells + 1 + 2 * (kCountCells + 1) + kProgramCells + 1;
constexpr size_t kLongestBar = 20;
constexpr size_t kShortestBar = 4;
constexpr size_t kUseCells = 16;

// Columns that have what a narrow terminal leaves over.
struct Widths {
    size_t bar;  // 0: none
    size_t use;
};

Widths widths_for(size_t columns) {
    const size_t left = columns - std::min(columns, kFixedCells);
    const size_t for_bar = left - std::min(left, kUseCells + 2);
    const size_t bar = for_bar < kShortestBar ? 0 : std::min(for_bar, kLongestBar);
    return {bar, std::min(kUseCells, left - std::min(left, bar + (bar > 0 ? 2 : 1)))};
}

using PidList = std::vector<const PidSnapshot*>;

// NaN goes last.
double rate_key(const PidSnapshot& pid) {
    return std::isnan(pid.bit_rate_bps) ? -1 : pid.bit_rate_bps;
}

PidList sorted(const StreamSnapshot& stream, SortBy order) {
    PidList pids;
    for (const PidSnapshot& pid : stream.pids)
        pids.push_back(&pid);
    if (order == SortBy::kRate)
        std::ranges::stable_sort(pids, std::greater(),
                                 [](const PidSnapshot* pid) { return rate_key(*pid); });
    if (order == SortBy::kErrors)
        std::ranges::stable_sort(pids, std::greater(), [](const PidSnapshot* pid) {
            return std::pair(pid->errors.recent, pid->errors.total);
        });
    return pids;
}

// -> the name of a column, marked when lines are sorted by it
std::string named(const char* name, bool sorted_by) {
    return sorted_by ? std::string("*") + name : name;
}

Line names_line(SortBy order, const Widths& widths, const std::string& interval, size_t columns) {
    Line line(columns);
    line.left(named("PID", order == SortBy::kPid), kPidCells, Look::kHeading)
        .right(named("rate", order == SortBy::kRate), kRateCells, Look::kHeading);
    if (widths.bar > 0) line.left("share", widths.bar, Look::kHeading);
    line.right(named("errors", order == SortBy::kErrors), kCountCells, Look::kHeading)
        .right(interval, kCountCells, Look::kHeading)
        .right("prog", kProgramCells, Look::kHeading)
        .add("contents", Look::kHeading);
    return line;
}

Line pid_line(const PidSnapshot& pid, const Widths& widths, size_t columns) {
    const auto look = [](uint64_t count) { return count > 0 ? Look::kBad : Look::kPlain; };
    Line line(columns);
    line.left(pid_text(pid.pid), kPidCells)
        .right(std::isnan(pid.bit_rate_bps) ? "?" : rate_text(pid.bit_rate_bps), kRateCells);
    if (widths.bar > 0) line.bar(pid.share, widths.bar);
    line.right(std::to_string(pid.errors.total), kCountCells, look(pid.errors.total))
        .right(std::to_string(pid.errors.recent), kCountCells, look(pid.errors.recent))
        .right(pid.program == ZV_SURVEY_NONE ? "" : std::to_string(pid.program), kProgramCells);
    const std::string scrambled = pid.scrambled ? " scrambled" : "";
    return line.add(pid.codec.empty() ? pid.use + scrambled
                                      : pid.use + " " + pid.codec + scrambled);
}

}  // namespace

Lines pid_lines(const StreamSnapshot& stream, ViewState& state, size_t most, size_t columns) {
    if (most == 0) return {};
    const Widths widths = widths_for(columns);
    const PidList pids = sorted(stream, state.sort_by);
    const size_t shown = std::min(pids.size(), most - 1);
    state.first_pid = std::min(state.first_pid, pids.size() - shown);
    Lines lines = {
        names_line(state.sort_by, widths, "in " + fixed(stream.interval_s, 0) + " s", columns)};
    if (shown < pids.size())
        lines.front().add(" " + std::to_string(state.first_pid + 1) + "-" +
                          std::to_string(state.first_pid + shown) + " of " +
                          std::to_string(pids.size()));
    for (size_t i = 0; i < shown; ++i)
        lines.push_back(pid_line(*pids[state.first_pid + i], widths, columns));
    return lines;
}

}  // namespace zvprobe
