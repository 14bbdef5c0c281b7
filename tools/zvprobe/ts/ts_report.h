// SPDX-License-Identifier: MIT
// What is known of a transport stream after reading it: the survey's JSON object, which every
// renderer works from, where things happened first, and the resolver's account.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "base/json.h"
#include "ts/indicator_choice.h"
#include "ts/resolver.h"
#include "ts/ts_counts.h"
#include "zvsurvey.h"

namespace zvprobe {

// Events of one kind, of which the survey's list may lack most.
struct EventTally {
    static constexpr size_t kMostPids = 6;

    std::string kind;
    bool is_indicator;  // of ETSI TR 101 290
    uint64_t count = 0;
    uint64_t first_offset = 0;
    int32_t first_pid = ZV_SURVEY_NONE;
    double first_s = std::numeric_limits<double>::quiet_NaN();
    std::vector<int32_t> pids = {};  // the first ones, in the order in which they were seen
    bool has_more_pids = false;      // than these
};

// An announcement of a splice (ANSI/SCTE 35).
struct Splice {
    double time_s;
    int32_t pid;
    std::string message;
};

// The tallies in the order in which the kinds were first seen, and the first splices.
class EventTallies {
  public:
    static constexpr size_t kMostSplices = 10;
    static constexpr char kSplice[] = "splice";

    void add(const ZvSurveyEvent& event);

    const std::vector<EventTally>& all() const { return tallies_; }

    // -> null when there was no such event
    const EventTally* of(const std::string& kind) const;

    const std::vector<Splice>& splices() const { return splices_; }

  private:
    std::vector<EventTally> tallies_;
    std::vector<Splice> splices_;
};

struct TsReport {
    Json survey;
    EventTallies events;
    ResolverAccount resolver;
    bool statistics = false;                  // asked for: they are part of the resolver's account
    std::optional<TsInterval> interval = {};  // of a watch that reports again and again
    ZvSurveyLimits limits = {};               // as asked for: 0 for the default

    uint64_t bytes() const { return survey["bytes"]; }

    // -> false when what looked like packets was none
    bool has_packets() const { return survey["packets"] != 0; }
};

// -> true when it counts errors, or when an indicator of the choice counted something
bool has_findings(const TsReport& report, const IndicatorChoice& choice);

// Continuity and CRC errors of the tables that the resolver is about, as the survey counts them.
TableFaults table_faults(const TsReport& report);

// Of one PID; without a packet there are none.
TableFaults pid_faults(const TsReport& report, uint16_t pid);

// -> true for PAT, CAT, NIT, SDT, EIT and PMTs
bool is_resolver_table(const Json& pid);

}  // namespace zvprobe
