// SPDX-License-Identifier: MIT
// The text about what is wrong in a transport stream, and about what changed in it.
#include <array>
#include <cmath>

#include "ts_text_parts.h"

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
        : report_(report), survey_(report.survey), style_(style), faults_(faults_of(report)) {}

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
    void add(const char* what, uint64_t count, const Place& place, const std::string& note = {}) {
        if (count == 0) return;
        table_.add({{what, true},
                    std::to_string(count),
                    place.offset ? std::to_string(*place.offset) : "",
                    std::isnan(place.time_s) ? "" : fixed(place.time_s, 3) + " s",
                    place.pid == ZV_SURVEY_NONE ? "" : pid_text(static_cast<uint16_t>(place.pid)),
                    note});
    }

    void add_sync() {
        add("sync losses", faults_.sync_losses, first_of(report_.events, "TS_sync_loss"));
        const Place byte_error = first_of(report_.events, "Sync_byte_error");
        add("sync byte errors", faults_.byte_errors, byte_error);
        const bool at_start = survey_["sync"]["first_sync_offset"] > kTimeCode;
        add("skipped bytes", faults_.skipped_bytes, at_start ? Place{0} : byte_error,
            at_start ? "before the first packet" : "");
        const uint64_t cut = faults_.trailing_bytes;
        add("trailing bytes", cut, {report_.bytes() - cut}, "of a packet that is cut off");
    }

    void add_packets() {
        add("transport errors", faults_.transport_errors,
            first_of(report_.events, "Transport_error"), "packets marked as damaged");
        add("continuity errors", faults_.continuity_errors,
            first_of(report_.events, "Continuity_count_error"),
            counted(faults_.packets_lost, "packet", "packets") + " lost, " +
                counted(faults_.pids_with_losses, "PID", "PIDs"));
        const Json& crc = survey_["crc_error_list"];
        if (crc.empty()) return;
        add("wrong CRCs", faults_.crc_errors, {crc[0]["offset"], crc[0]["pid"]},
            "first in table " + hex_byte(crc[0]["table_id"]));
    }

    static constexpr int kTimeCode =
        4;  // what stands before the first sync byte of 192-byte packets

    const TsReport& report_;
    const Json& survey_;
    const Style& style_;
    const TsFaults faults_;
    TextTable table_{
        {{"what"}, {"count", true}, {"first at byte", true}, {"time", true}, {"PID"}, {"note"}},
        kIndent};
};

bool counts_as_error(const Json& indicator) {
    constexpr std::array kListed = {"1.1", "1.2", "1.4", "2.1", "2.2"};
    return std::ranges::count(kListed, indicator["id"]) != 0;
}

// Those that are not among the errors already.
void print_indicators(std::ostream& out, const Json& indicators, const Style& style) {
    if (indicators.is_null()) return;
    TextTable table({{"indicator"}, {"count", true}, {"first", true}, {"last", true}}, kIndent);
    bool any = false;
    for (const Json& indicator : indicators) {
        if (counts_as_error(indicator) || figure(indicator, "count").value_or(0) == 0) continue;
        const auto time = [&indicator](const char* name) {
            const auto seconds = figure(indicator, name);
            return seconds ? fixed(*seconds, 3) + " s" : std::string();
        };
        table.add({{text_of(indicator, "id") + " " + text_of(indicator, "name"), true},
                   indicator["count"].dump(),
                   time("first_s"),
                   time("last_s")});
        any = true;
    }
    if (!any) return;
    out << "\n  " << style.heading("TR 101 290") << '\n';
    table.print(out, style);
}

void print_changes(std::ostream& out, const EventTallies& events, const Style& style) {
    TextTable table({{"what"}, {"count", true}, {"first at byte", true}, {"time", true}, {"PID"}},
                    kIndent);
    bool any = false;
    for (const EventTally& tally : events.all()) {
        if (tally.is_indicator || tally.kind == "program_added") continue;
        table.add(
            {printable(tally.kind), std::to_string(tally.count), std::to_string(tally.first_offset),
             std::isnan(tally.first_s) ? "" : fixed(tally.first_s, 3) + " s",
             tally.first_pid == ZV_SURVEY_NONE ? ""
                                               : pid_text(static_cast<uint16_t>(tally.first_pid))});
        any = true;
    }
    if (!any) return;
    out << "\n  " << style.heading("changes") << '\n';
    table.print(out, style);
}

}  // namespace

void print_faults(std::ostream& out, const TsReport& report, const Style& style) {
    Faults(report, style).print(out);
    print_indicators(out, report.survey["tr101290"], style);
    print_changes(out, report.events, style);
}

}  // namespace zvprobe
