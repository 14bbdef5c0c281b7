// SPDX-License-Identifier: MIT
// Implementation of ts_report.h.
#include "ts_report.h"

namespace zvprobe {

const char* kind_name(int32_t kind) {
    switch (kind) {
        case 1:
            return "video";
        case 2:
            return "audio";
        default:
            return "other";
    }
}

ContinuityTotals continuity_totals(const TsReport& report) {
    ContinuityTotals totals;
    for (const StreamInfoProgram& program : report.programs()) {
        for (const StreamInfoEs& stream : streams_of(program)) {
            totals.errors += stream.cc_state.errnum;
            totals.lost += stream.cc_state.lostnum;
        }
    }
    return totals;
}

bool has_findings(const TsReport& report) {
    const TsReading& reading = report.reading;
    return !report.tables_complete || report.crc_errors.count() != 0 ||
           report.table_continuity.errors != 0 || continuity_totals(report).errors != 0 ||
           reading.losses.count() != 0 || reading.skipped_bytes != 0 || reading.trailing_bytes != 0;
}

}  // namespace zvprobe
