// SPDX-License-Identifier: MIT
// Implementation of ts_report.h.
#include "ts_report.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zvprobe {
namespace {

TableFaults faults_of_pid(const Json& pid) {
    const Json& continuity = pid["continuity"];
    if (continuity.is_null()) return {};
    return {continuity["errors"], continuity["lost"], pid["crc_errors"]};
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
}

const EventTally* EventTallies::of(const std::string& kind) const {
    const auto found = std::ranges::find(tallies_, kind, &EventTally::kind);
    return found == tallies_.end() ? nullptr : &*found;
}

bool TsFaults::any() const {
    return sync_losses + byte_errors + skipped_bytes + trailing_bytes + transport_errors +
               continuity_errors + crc_errors >
           0;
}

TsFaults faults_of(const TsReport& report) {
    const Json& survey = report.survey;
    TsFaults faults;
    faults.sync_losses = survey["sync"]["losses"];
    faults.byte_errors = survey["sync"]["byte_errors"];
    faults.skipped_bytes = survey["sync"]["skipped_bytes"];
    faults.trailing_bytes = survey["trailing_bytes"];
    faults.transport_errors = survey["transport_errors"];
    faults.crc_errors = survey["crc_errors"];
    for (const Json& pid : survey["pids"]) {
        const TableFaults of_pid = faults_of_pid(pid);
        faults.continuity_errors += of_pid.errors;
        faults.packets_lost += of_pid.lost;
        if (of_pid.errors > 0) ++faults.pids_with_losses;
    }
    return faults;
}

bool has_findings(const TsReport& report) {
    return faults_of(report).any();
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
