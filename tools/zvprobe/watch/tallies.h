// SPDX-License-Identifier: MIT
// Counts of a source that only go on: a survey counts from its own beginning, and a source may go
// through many surveys while the process lives.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>

#include "ts/survey_run.h"

namespace zvprobe {

// Adds up what a counter has grown by, also when the counter begins anew.
class Odometer {
  public:
    // The counter stands at `now`. A survey may take back what it counted; the sum does not.
    void follow(uint64_t now) {
        sum_ += now - std::min(now, seen_);
        seen_ = std::max(seen_, now);
    }

    // The counter begins at 0 again.
    void begin_anew() { seen_ = 0; }

    uint64_t sum() const { return sum_; }

  private:
    uint64_t sum_ = 0;
    uint64_t seen_ = 0;
};

struct PidTallies {
    Odometer packets;
    Odometer continuity_errors;
    Odometer packets_lost;
};

// Of a source, by its name: it keeps them when its settings change, or when it goes and comes back.
struct Tallies {
    // Noise has packets on every PID. Those that no table names get a part of the places only.
    static constexpr size_t kMostPids = 512;
    static constexpr size_t kMostUnreferenced = kMostPids / 2;

    uint64_t bytes = 0;
    uint64_t receive_drops = 0;
    uint64_t reconnects = 0;
    Odometer packets;
    Odometer null_packets;
    Odometer sync_losses;
    Odometer transport_errors;
    Odometer rtp_packets_lost;
    std::map<std::string, Odometer> indicators;  // by id
    std::map<uint16_t, PidTallies> pids;

    // Takes over what a survey counts now.
    void follow(const SurveyRun& survey);

    // The survey, or what counts RTP, is another one from now on.
    void survey_begins_anew();
    void rtp_begins_anew() { rtp_packets_lost.begin_anew(); }

  private:
    void follow_pids(const SurveyRun& survey);
    PidTallies* place_for(const ZvSurveyPid& pid);

    size_t unreferenced_ = 0;  // places that were given to PIDs that no table named
};

}  // namespace zvprobe
