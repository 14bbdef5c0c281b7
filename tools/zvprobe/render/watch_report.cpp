// SPDX-License-Identifier: MIT
// Implementation of watch_report.h.
#include "render/watch_report.h"

#include "render/text_parts.h"

namespace zvprobe {
namespace {

std::string state_text(const WatchLine& line, const Style& style) {
    if (line.up) return marked(style, true, "up");
    if (line.why_away.empty()) return marked(style, false, "away");
    return marked(style, false, "away") + " (" + printable(line.why_away) + ")";
}

}  // namespace

void print_watch_text(std::ostream& out, const std::vector<WatchLine>& lines, const Style& style) {
    Columns columns;
    columns.add({"source", "packets", "kbit/s", "cc errors", "RTP lost", "dropped", "state"});
    for (const WatchLine& line : lines)
        columns.add({line.name, std::to_string(line.packets), fixed(line.bits_per_second / 1000, 1),
                     std::to_string(line.continuity_errors), std::to_string(line.rtp_packets_lost),
                     std::to_string(line.receive_drops), state_text(line, style)});
    columns.print(out, style, "watch");
    out << '\n';
}

}  // namespace zvprobe
