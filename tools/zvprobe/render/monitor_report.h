// SPDX-License-Identifier: MIT
// The reports of `monitor`: that of a probe, and how fast the stream comes.
#pragma once

#include <cstdint>
#include <ostream>

#include "render/source_report.h"
#include "render/text_report.h"

namespace zvprobe {

struct MonitorTime {
    double elapsed_s;   // since the first packets came
    double interval_s;  // since the report before
    uint64_t interval_bytes;

    double bits_per_second() const;
};

void print_monitor_text(std::ostream& out, const SourceReport& report, const MonitorTime& time,
                        const TextOptions& options);

// One line, described in docs/JSON.md; also about a source of which nothing came yet.
void print_monitor_json(std::ostream& out, const SourceReport& report, const MonitorTime& time);

}  // namespace zvprobe
