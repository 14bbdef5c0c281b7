// SPDX-License-Identifier: MIT
// The text about what changed in a transport stream, and about splices that it announces.
#include <cmath>

#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kIndent = 4;

std::string time_cell(double seconds) {
    return std::isnan(seconds) ? std::string() : time_text(seconds);
}

std::string pid_cell(int32_t pid) {
    return pid == ZV_SURVEY_NONE ? std::string() : pid_text(static_cast<uint16_t>(pid));
}

void print_tallies(std::ostream& out, const EventTallies& events, const Style& style) {
    TextTable table({{"what"}, {"count", true}, {"first at byte", true}, {"time", true}, {"PID"}},
                    kIndent);
    bool any = false;
    for (const EventTally& tally : events.all()) {
        // Every stream has programmes, and splices are listed below.
        if (tally.is_indicator || tally.kind == "program_added" ||
            tally.kind == EventTallies::kSplice)
            continue;
        table.add({printable(tally.kind), std::to_string(tally.count),
                   std::to_string(tally.first_offset), time_cell(tally.first_s),
                   pid_cell(tally.first_pid)});
        any = true;
    }
    if (!any) return;
    out << "\n  " << style.heading("changes") << '\n';
    table.print(out, style);
}

void print_splices(std::ostream& out, const EventTallies& events, const Style& style) {
    const EventTally* const tally = events.of(EventTallies::kSplice);
    if (tally == nullptr) return;
    TextTable table({{"time", true}, {"PID"}, {"what"}}, kIndent);
    for (const Splice& splice : events.splices())
        table.add({time_cell(splice.time_s), pid_cell(splice.pid), printable(splice.message)});
    if (const uint64_t more = tally->count - events.splices().size(); more > 0)
        table.add_line(std::string(kIndent, ' ') + "and " + std::to_string(more) + " more");
    out << "\n  " << style.heading("splices") << '\n';
    table.print(out, style);
}

}  // namespace

void print_changes(std::ostream& out, const EventTallies& events, const Style& style) {
    print_tallies(out, events, style);
    print_splices(out, events, style);
}

}  // namespace zvprobe
