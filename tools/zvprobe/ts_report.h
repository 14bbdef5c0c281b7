// SPDX-License-Identifier: MIT
// What is known of a transport stream after reading it: the survey's JSON object, which every
// renderer works from, where things happened first, and the resolver's account.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "json_parts.h"
#include "resolver.h"
#include "zvsurvey.h"

namespace zvprobe {

// Events of one kind, of which the survey's list may lack most.
struct EventTally {
    std::string kind;
    bool is_indicator;  // of ETSI TR 101 290
    uint64_t count = 0;
    uint64_t first_offset = 0;
    int32_t first_pid = ZV_SURVEY_NONE;
    double first_s = std::numeric_limits<double>::quiet_NaN();
};

// The tallies in the order in which the kinds were first seen.
class EventTallies {
  public:
    void add(const ZvSurveyEvent& event);

    const std::vector<EventTally>& all() const { return tallies_; }

    // -> null when there was no such event
    const EventTally* of(const std::string& kind) const;

  private:
    std::vector<EventTally> tallies_;
};

struct TsReport {
    Json survey;
    EventTallies events;
    ResolverAccount resolver;
    bool statistics = false;  // asked for: they are part of the resolver's account

    uint64_t bytes() const { return survey["bytes"]; }

    // -> false when what looked like packets was none
    bool has_packets() const { return survey["packets"] != 0; }
};

// Errors that a report counts. `--strict` looks at these, and the text lists them.
struct TsFaults {
    uint64_t sync_losses = 0;
    uint64_t byte_errors = 0;
    uint64_t skipped_bytes = 0;
    uint64_t trailing_bytes = 0;
    uint64_t transport_errors = 0;
    uint64_t continuity_errors = 0;
    uint64_t packets_lost = 0;
    uint64_t pids_with_losses = 0;  // with continuity errors
    uint64_t crc_errors = 0;

    bool any() const;
};
TsFaults faults_of(const TsReport& report);

// -> true when there are any
bool has_findings(const TsReport& report);

// Continuity and CRC errors of the tables that the resolver is about, as the survey counts them.
struct TableFaults {
    uint64_t errors = 0;
    uint64_t lost = 0;
    uint64_t crc_errors = 0;
};
TableFaults table_faults(const TsReport& report);

// Of one PID; without a packet there are none.
TableFaults pid_faults(const TsReport& report, uint16_t pid);

// -> true for PAT, CAT, NIT, SDT, EIT and PMTs
bool is_resolver_table(const Json& pid);

}  // namespace zvprobe
