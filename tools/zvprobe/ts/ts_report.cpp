// SPDX-License-Identifier: MIT
// Implementation of ts_report.h.
#include "ts/ts_report.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zvprobe {
namespace {

void add_pid(EventTally& tally, int32_t pid) {
    if (pid == ZV_SURVEY_NONE || std::ranges::count(tally.pids, pid) != 0) return;
    if (tally.pids.size() < EventTally::kMostPids)
        tally.pids.push_back(pid);
    else
        tally.has_more_pids = true;
}

}  // namespace

void EventTallies::add(const ZvSurveyEvent& event) {
    auto found = std::ranges::find(tallies_, std::string_view(event.kind), &EventTally::kind);
    if (found == tallies_.end()) {
        tallies_.push_back({.kind = event.kind,
                            .is_indicator = event.indicator != nullptr,
                            .first_offset = event.offset,
                            .first_pid = event.pid,
                            .first_s = event.time_s});
        found = tallies_.end() - 1;
    }
    ++found->count;
    add_pid(*found, event.pid);
    if (found->kind == kSplice && splices_.size() < kMostSplices)
        splices_.push_back({event.time_s, event.pid, event.message});
}

const EventTally* EventTallies::of(const std::string& kind) const {
    const auto found = std::ranges::find(tallies_, kind, &EventTally::kind);
    return found == tallies_.end() ? nullptr : &*found;
}

bool has_findings(const TsReport& report, const IndicatorChoice& choice) {
    if (faults_of(report.survey).any()) return true;
    return std::ranges::any_of(report.survey["tr101290"], [&choice](const Json& indicator) {
        const Json& count = indicator["count"];
        return !count.is_null() && count != 0 &&
               choice.has(indicator["id"].get<std::string_view>());
    });
}

bool is_resolver_table(const Json& pid) {
    constexpr std::array<std::string_view, 6> kUses = {"pat",     "cat", "nit",
                                                       "sdt_bat", "eit", "pmt"};
    return std::ranges::count(kUses, pid["use"].get<std::string_view>()) != 0;
}

TableFaults table_faults(const TsReport& report) {
    TableFaults sum;
    for (const Json& pid : report.survey["pids"]) {
        if (!is_resolver_table(pid)) continue;
        const TableFaults of_pid = faults_of_pid(pid);
        sum.errors += of_pid.errors;
        sum.lost += of_pid.lost;
        sum.crc_errors += of_pid.crc_errors;
    }
    return sum;
}

TableFaults pid_faults(const TsReport& report, uint16_t pid) {
    for (const Json& seen : report.survey["pids"])
        if (seen["pid"] == pid) return faults_of_pid(seen);
    return {};
}

}  // namespace zvprobe
