// SPDX-License-Identifier: MIT
// Implementation of tallies.h.
#include "watch/tallies.h"

#include <string_view>

namespace zvprobe {
namespace {

bool is_unreferenced(const ZvSurveyPid& pid) {
    return std::string_view(pid.use) == "unreferenced";
}

}  // namespace

void Tallies::follow(const SurveyRun& survey) {
    const ZvSurveyTotals totals = survey.totals();
    packets.follow(totals.packets);
    null_packets.follow(totals.null_packets);
    sync_losses.follow(totals.sync_losses);
    transport_errors.follow(totals.transport_errors);
    for (const ZvSurveyIndicator& indicator : survey.indicators())
        if (indicator.measured != 0) indicators[indicator.id].follow(indicator.count);
    follow_pids(survey);
}

void Tallies::follow_pids(const SurveyRun& survey) {
    for (const ZvSurveyPid& pid : survey.pids()) {
        PidTallies* const tallies = place_for(pid);
        if (tallies == nullptr) continue;
        tallies->packets.follow(pid.packets);
        tallies->continuity_errors.follow(pid.continuity_errors);
        tallies->packets_lost.follow(pid.packets_lost);
    }
}

// A place once given is kept: a series that comes and goes is of no use to anyone.
PidTallies* Tallies::place_for(const ZvSurveyPid& pid) {
    const auto found = pids.find(pid.pid);
    if (found != pids.end()) return &found->second;
    const bool unreferenced = is_unreferenced(pid);
    if (pids.size() >= kMostPids || (unreferenced && unreferenced_ >= kMostUnreferenced))
        return nullptr;
    if (unreferenced) ++unreferenced_;
    return &pids[pid.pid];
}

void Tallies::survey_begins_anew() {
    for (Odometer* const odometer : {&packets, &null_packets, &sync_losses, &transport_errors})
        odometer->begin_anew();
    for (auto& [id, odometer] : indicators)
        odometer.begin_anew();
    for (auto& [number, pid] : pids) {
        pid.packets.begin_anew();
        pid.continuity_errors.begin_anew();
        pid.packets_lost.begin_anew();
    }
}

}  // namespace zvprobe
