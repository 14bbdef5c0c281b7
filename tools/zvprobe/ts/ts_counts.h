// SPDX-License-Identifier: MIT
// How much came of a transport stream and how often it was wrong: until now, or within an interval.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/json.h"

namespace zvprobe {

class SurveyRun;

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
    bool operator==(const TsFaults&) const = default;
};

struct IndicatorCount {
    std::string id;
    std::optional<uint64_t> count;  // nothing when it is not measured

    bool operator==(const IndicatorCount&) const = default;
};

struct TsCounts {
    uint64_t packets = 0;
    TsFaults faults;
    std::vector<IndicatorCount> indicators;  // all, always in the same order

    // -> 0 also when it is not measured
    uint64_t of_indicator(const std::string& id) const;
    bool operator==(const TsCounts&) const = default;
};

// -> those of a survey's JSON
TsFaults faults_of(const Json& survey);
TsCounts counts_of(const Json& survey);

// -> the same of its records: quickly
TsCounts counts_of(const SurveyRun& survey);

// before: empty, or earlier counts of the same stream
// -> what came after it; 0 for what was taken back since
TsCounts counts_between(const TsCounts& before, const TsCounts& now);

// Counts what came of one stream to what came of others.
void add_counts(TsCounts& all, const TsCounts& more);

// What came since the report before.
struct TsInterval {
    double seconds;
    TsCounts counts;
};

// Continuity and CRC errors of a PID or of several.
struct TableFaults {
    uint64_t errors = 0;
    uint64_t lost = 0;
    uint64_t crc_errors = 0;
};

// pid: an entry of "pids"
TableFaults faults_of_pid(const Json& pid);

}  // namespace zvprobe
