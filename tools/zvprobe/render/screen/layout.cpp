// SPDX-License-Identifier: MIT
// Implementation of layout.h: which part gets how many lines.
#include "render/screen/layout.h"

#include <algorithm>

#include "render/screen/stream_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kFewestPidLines = 5;

void append(Lines& to, Lines from) {
    std::ranges::move(from, std::back_inserter(to));
}

Lines too_small(ScreenSize size) {
    if (size.lines == 0) return {};
    Line line(size.columns);
    line.add("too small: 40x10 at least");
    return {line};
}

// Part of the room where there is enough for a heading and a line.
size_t share_of(size_t room, size_t wanted, size_t parts) {
    const size_t lines = std::min(wanted, room / parts);
    return lines < 2 ? 0 : lines;
}

// Services, PIDs and events share the room; what PIDs leave over is for events.
Lines lists(const StreamSnapshot& stream, ViewState& state, size_t room, size_t columns) {
    const size_t services = share_of(room, stream.services.size() + 1, 4);
    const size_t least_events = share_of(room, stream.events.size() + 1, 4);
    const size_t pids = std::min(stream.pids.size() + 1, room - services - least_events);
    Lines lines = service_lines(stream, services, columns);
    append(lines, pid_lines(stream, state, pids, columns));
    append(lines, event_lines(stream, room - services - pids, columns));
    return lines;
}

}  // namespace

std::vector<Line> layout(const StreamSnapshot& stream, ViewState& state, ScreenSize size) {
    const size_t columns = size.columns;
    if (size.lines < kSmallestScreen.lines || columns < kSmallestScreen.columns)
        return too_small(size);
    Lines lines = head_lines(stream, state.frozen, columns);
    if (state.help) {
        append(lines, help_lines(size.lines - lines.size() - 1, columns));
    } else {
        append(lines, error_lines(stream, columns));
        Lines lights = light_lines(stream, columns);
        if (lines.size() + lights.size() + kFewestPidLines + 1 > size.lines)
            lights.assign(1, brief_lights(stream, columns));
        append(lines, std::move(lights));
        append(lines, lists(stream, state, size.lines - lines.size() - 1, columns));
    }
    lines.resize(size.lines - 1, Line(columns));
    lines.push_back(key_line(columns));
    return lines;
}

}  // namespace zvprobe
