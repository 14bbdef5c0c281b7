// SPDX-License-Identifier: MIT
// The text about what is wrong in a transport stream.
#include <cmath>

#include "mpeg/ts_packet/packet_fields.h"
#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kIndent = 4;

// Where something was first seen.
struct Place {
    std::optional<uint64_t> offset;
    int32_t pid = ZV_SURVEY_NONE;
    double time_s = std::nan("");
};

Place first_of(const EventTallies& events, const char* kind) {
    const EventTally* const tally = events.of(kind);
    if (tally == nullptr) return {};
    return {tally->first_offset, tally->first_pid, tally->first_s};
}

class Faults {
  public:
    Faults(const TsReport& report, const Style& style)
        : report_(report),
          survey_(report.survey),
          style_(style),
          faults_(faults_of(report.survey)) {}

    void print(std::ostream& out) {
        out << '\n';
        if (!faults_.any()) {
            begin_line(out, style_, "errors") << style_.good("none") << '\n';
        } else {
            out << "  " << style_.heading("errors") << '\n';
            add_sync();
            add_packets();
            table_.print(out, style_);
        }
    }

  private:
    void add(const char* what, uint64_t TsFaults::*count, const Place& place,
             const std::string& note = {}) {
        if (faults_.*count == 0) return;
        const auto& interval = report_.interval;
        table_.add({{what, true},
                    std::to_string(faults_.*count),
                    interval ? std::to_string(interval->counts.faults.*count) : "",
                    place.offset ? std::to_string(*place.offset) : "",
                    std::isnan(place.time_s) ? "" : time_text(place.time_s),
                    place.pid == ZV_SURVEY_NONE ? "" : pid_text(static_cast<uint16_t>(place.pid)),
                    note});
    }

    void add_sync() {
        add("sync losses", &TsFaults::sync_losses, first_of(report_.events, "TS_sync_loss"));
        const Place byte_error = first_of(report_.events, "Sync_byte_error");
        add("sync byte errors", &TsFaults::byte_errors, byte_error);
        const bool at_start = survey_["sync"]["first_sync_offset"] > zv::kTimeCodeSize;
        add("skipped bytes", &TsFaults::skipped_bytes, at_start ? Place{0} : byte_error,
            at_start ? "before the first packet" : "");
        add("trailing bytes", &TsFaults::trailing_bytes, {report_.bytes() - faults_.trailing_bytes},
            "of a packet that is cut off");
    }

    void add_packets() {
        add("transport errors", &TsFaults::transport_errors,
            first_of(report_.events, "Transport_error"), "packets marked as damaged");
        add("continuity errors", &TsFaults::continuity_errors,
            first_of(report_.events, "Continuity_count_error"),
            counted(faults_.packets_lost, "packet", "packets") + " lost, " +
                counted(faults_.pids_with_losses, "PID", "PIDs"));
        const Json& crc = survey_["crc_error_list"];
        if (crc.empty()) return;
        add("wrong CRCs", &TsFaults::crc_errors, {crc[0]["offset"], crc[0]["pid"]},
            "first in table " + hex_byte(crc[0]["table_id"]));
    }

    const TsReport& report_;
    const Json& survey_;
    const Style& style_;
    const TsFaults faults_;
    TextTable table_{{{"what"},
                      {"count", true},
                      {interval_heading(report_), true},
                      {"first at byte", true},
                      {"time", true},
                      {"PID"},
                      {"note"}},
                     kIndent};
};

}  // namespace

void print_faults(std::ostream& out, const TsReport& report, const Style& style) {
    Faults(report, style).print(out);
}

}  // namespace zvprobe
