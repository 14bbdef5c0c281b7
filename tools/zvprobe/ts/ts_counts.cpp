// SPDX-License-Identifier: MIT
// Implementation of ts_counts.h.
#include "ts/ts_counts.h"

#include <algorithm>
#include <array>

#include "ts/survey_run.h"

namespace zvprobe {
namespace {

constexpr std::array kFaults = {
    &TsFaults::sync_losses,    &TsFaults::byte_errors,      &TsFaults::skipped_bytes,
    &TsFaults::trailing_bytes, &TsFaults::transport_errors, &TsFaults::continuity_errors,
    &TsFaults::packets_lost,   &TsFaults::pids_with_losses, &TsFaults::crc_errors};

}  // namespace

TableFaults faults_of_pid(const Json& pid) {
    const Json& continuity = pid["continuity"];
    if (continuity.is_null()) return {};
    return {continuity["errors"], continuity["lost"], pid["crc_errors"]};
}

bool TsFaults::any() const {
    return sync_losses + byte_errors + skipped_bytes + trailing_bytes + transport_errors +
               continuity_errors + crc_errors >
           0;
}

TsFaults faults_of(const Json& survey) {
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

uint64_t TsCounts::of_indicator(const std::string& id) const {
    const auto found = std::ranges::find(indicators, id, &IndicatorCount::id);
    return found == indicators.end() ? 0 : found->count.value_or(0);
}

TsCounts counts_of(const Json& survey) {
    TsCounts counts = {survey["packets"], faults_of(survey), {}};
    for (const Json& indicator : survey["tr101290"])
        counts.indicators.push_back(
            {indicator["id"], indicator["measured"] == true
                                  ? std::optional(indicator["count"].get<uint64_t>())
                                  : std::nullopt});
    return counts;
}

TsCounts counts_of(const SurveyRun& survey) {
    const ZvSurveyTotals totals = survey.totals();
    TsFaults faults;
    faults.sync_losses = totals.sync_losses;
    faults.byte_errors = totals.byte_errors;
    faults.skipped_bytes = totals.skipped_bytes;
    faults.trailing_bytes = totals.trailing_bytes;
    faults.transport_errors = totals.transport_errors;
    faults.continuity_errors = totals.continuity_errors;
    faults.packets_lost = totals.packets_lost;
    faults.crc_errors = totals.crc_errors;
    for (const ZvSurveyPid& pid : survey.pids())
        if (pid.continuity_errors > 0) ++faults.pids_with_losses;
    TsCounts counts = {totals.packets, faults, {}};
    for (const ZvSurveyIndicator& indicator : survey.indicators())
        counts.indicators.push_back({indicator.id, indicator.measured != 0
                                                       ? std::optional(indicator.count)
                                                       : std::nullopt});
    return counts;
}

TsCounts counts_between(const TsCounts& before, const TsCounts& now) {
    const auto grown = [](uint64_t from, uint64_t to) { return to - std::min(from, to); };
    TsCounts counts = {grown(before.packets, now.packets), {}, {}};
    for (const auto member : kFaults)
        counts.faults.*member = grown(before.faults.*member, now.faults.*member);
    for (const auto& [id, count] : now.indicators)
        counts.indicators.push_back(
            {id, count ? std::optional(grown(before.of_indicator(id), *count)) : std::nullopt});
    return counts;
}

void add_counts(TsCounts& all, const TsCounts& more) {
    all.packets += more.packets;
    for (const auto member : kFaults)
        all.faults.*member += more.faults.*member;
    for (const auto& [id, count] : more.indicators) {
        const auto known = std::ranges::find(all.indicators, id, &IndicatorCount::id);
        if (known == all.indicators.end())
            all.indicators.push_back({id, count});
        else if (count)
            known->count = known->count.value_or(0) + *count;
    }
}

}  // namespace zvprobe
