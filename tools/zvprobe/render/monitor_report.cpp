// SPDX-License-Identifier: MIT
// Implementation of monitor_report.h.
#include "render/monitor_report.h"

#include <cmath>

#include "base/json.h"
#include "bitStream.h"
#include "render/json_report.h"
#include "render/text_parts.h"

namespace zvprobe {
namespace {

constexpr int kBitsPerByte = 8;
constexpr int kCompact = -1;

int64_t milliseconds(double seconds) {
    return std::llround(seconds * 1000);
}

Json counts_json(const TsCounts& counts) {
    Json indicators = Json::object();
    for (const auto& [id, count] : counts.indicators)
        indicators[id] = count ? Json(*count) : Json(nullptr);
    return {{"packets", counts.packets},
            {"sync_losses", counts.faults.sync_losses},
            {"byte_errors", counts.faults.byte_errors},
            {"skipped_bytes", counts.faults.skipped_bytes},
            {"transport_errors", counts.faults.transport_errors},
            {"continuity_errors", counts.faults.continuity_errors},
            {"packets_lost", counts.faults.packets_lost},
            {"crc_errors", counts.faults.crc_errors},
            {"indicators", indicators}};
}

}  // namespace

double MonitorTime::bits_per_second() const {
    return interval_s > 0 ? static_cast<double>(interval_bytes) * kBitsPerByte / interval_s : 0;
}

void print_monitor_text(std::ostream& out, const SourceReport& report, const MonitorTime& time,
                        const TextOptions& options) {
    print_text(out, report, options);
    begin_line(out, options.style, "monitored")
        << fixed(time.elapsed_s, 1) << " s, " << fixed(time.bits_per_second() / 1000, 1)
        << " kbit/s in the last " << fixed(time.interval_s, 1) << " s\n\n";
}

void print_monitor_json(std::ostream& out, const SourceReport& report, const MonitorTime& time) {
    const auto* const content = std::get_if<TsReport>(&report.content);
    const TsCounts counts = content ? content->interval->counts : TsCounts();
    Json line = {{"schema", kJsonSchema},
                 {"library_version", zvbitStream_api_version()},
                 {"monitor",
                  {{"elapsed_ms", milliseconds(time.elapsed_s)},
                   {"interval_ms", milliseconds(time.interval_s)},
                   {"bit_rate_bps", std::llround(time.bits_per_second())},
                   {"counts", counts_json(counts)}}}};
    line.update(to_json(report));
    out << json_text(line, kCompact) << '\n';
}

}  // namespace zvprobe
