// SPDX-License-Identifier: MIT
// The statistics block: arrival periods and continuity counters of tables and streams, in the lines
// that the library logs, so that one script reads both.
#pragma once

#include <ostream>

#include "text_report.h"
#include "ts_report.h"

namespace zvprobe {

// The report must carry the continuity of the tables.
void print_statistics(std::ostream& out, const TsReport& report, const TextOptions& options);

}  // namespace zvprobe
