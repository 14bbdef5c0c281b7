// SPDX-License-Identifier: MIT
// Implementation of stream_parts.h, but for the table of PIDs.
#include "render/screen/stream_parts.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/printable.h"
#include "base/texts.h"
#include "render/ts/ts_text_parts.h"
#include "zvsurvey.h"

namespace zvprobe {
namespace {

constexpr size_t kLabelCells = 12;
constexpr double kSilence_s = 2;  // without a byte, from which on it is told

// -> "0:01:23"
std::string clock_text(double seconds) {
    const std::string text = time_text(std::floor(seconds));
    return text.substr(0, text.find('.'));
}

std::string interval_text(const StreamSnapshot& stream) {
    return "last " + fixed(stream.interval_s, 0) + " s";
}

Line heading(std::string_view text, size_t columns) {
    Line line(columns);
    line.add(text, Look::kHeading);
    return line;
}

struct ErrorColumn {
    const char* name;
    WatchCount StreamSnapshot::*count;
};
// What a narrow terminal has no room for stands at the end.
constexpr std::array kErrorColumns = {
    ErrorColumn{"continuity", &StreamSnapshot::continuity_errors},
    ErrorColumn{"lost", &StreamSnapshot::packets_lost},
    ErrorColumn{"CRC", &StreamSnapshot::crc_errors},
    ErrorColumn{"transport", &StreamSnapshot::transport_errors},
    ErrorColumn{"sync loss", &StreamSnapshot::sync_losses},
    ErrorColumn{"sync byte", &StreamSnapshot::byte_errors},
};
constexpr size_t kErrorCells = 10;

Line error_line(const StreamSnapshot& stream, const std::string& label, uint64_t WatchCount::*which,
                size_t columns) {
    Line line(columns);
    line.left(label, kLabelCells, Look::kLabel);
    for (const ErrorColumn& column : kErrorColumns) {
        if (line.room() <= kErrorCells) break;
        const uint64_t count = (stream.*column.count).*which;
        line.right(std::to_string(count), kErrorCells, count > 0 ? Look::kBad : Look::kPlain);
    }
    return line;
}

struct Light {
    const char* symbol;
    Look look;
};

Light light_of(const IndicatorSnapshot& indicator) {
    if (!indicator.measured) return {"-", Look::kPast};
    if (indicator.count.recent > 0) return {"X", Look::kBad};
    if (indicator.count.total > 0) return {"!", Look::kHeading};
    return {"+", Look::kGood};
}

// -> "1.4 X 12"
Line& add_light(Line& line, const IndicatorSnapshot& indicator, size_t cells) {
    const Light light = light_of(indicator);
    std::string text = indicator.id + " " + light.symbol;
    if (indicator.measured && indicator.count.total > 0)
        text += " " + std::to_string(indicator.count.total);
    return line.left(text, cells, light.look);
}

std::string program_text(const StreamSnapshot& stream) {
    return counted(stream.programs, "programme", "programmes") + ", " +
           counted(stream.pids.size(), "PID", "PIDs");
}

}  // namespace

Lines head_lines(const StreamSnapshot& stream, bool frozen, size_t columns) {
    const std::string time = " " + clock_text(stream.elapsed_s) + " ";
    Line head(columns);
    if (frozen) head.add(" FROZEN ", Look::kBad);
    const size_t room = head.room() - std::min(head.room(), time.size());
    head.add(cut(wide(" zvprobe " + printable(stream.name)), room), Look::kHeading)
        .at_end(time, Look::kHeading);
    Line rate(columns);
    rate.left("rate", kLabelCells, Look::kLabel);
    if (stream.silent_s >= kSilence_s)
        rate.add("no data for " + fixed(std::floor(stream.silent_s), 0) + " s; ", Look::kBad);
    rate.add(std::isnan(stream.bit_rate_bps) ? "?" : rate_text(stream.bit_rate_bps))
        .add(", " + std::to_string(stream.packets) + " packets of " +
             std::to_string(stream.packet_size) + ", " + program_text(stream));
    return {head, rate};
}

Lines error_lines(const StreamSnapshot& stream, size_t columns) {
    Line names(columns);
    names.left("errors", kLabelCells, Look::kLabel);
    for (const ErrorColumn& column : kErrorColumns)
        if (names.room() > kErrorCells) names.right(column.name, kErrorCells, Look::kLabel);
    return {names,
            error_line(stream, "in " + clock_text(stream.counted_s), &WatchCount::total, columns),
            error_line(stream, interval_text(stream), &WatchCount::recent, columns)};
}

Lines light_lines(const StreamSnapshot& stream, size_t columns) {
    constexpr size_t kLightCells = 12;
    constexpr const char* kPriorities[] = {"priority 1", "priority 2", "priority 3"};
    Lines lines = {Line(columns)};
    lines.back()
        .left("TR 101 290", kLabelCells, Look::kLabel)
        .add("+ good  ", Look::kGood)
        .add("X now  ", Look::kBad)
        .add("! before  ", Look::kHeading)
        .add("- not measured", Look::kPast);
    int32_t priority = 0;
    for (const IndicatorSnapshot& indicator : stream.indicators) {
        const bool begins = indicator.priority != priority;
        if (begins || lines.back().room() < kLightCells) {
            priority = indicator.priority;
            const bool known = begins && priority >= 1 && priority <= 3;
            lines.emplace_back(columns).left(known ? kPriorities[priority - 1] : "", kLabelCells,
                                             Look::kLabel);
        }
        add_light(lines.back(), indicator, kLightCells - 1);
    }
    return lines;
}

Line brief_lights(const StreamSnapshot& stream, size_t columns) {
    Line line(columns);
    line.left("TR 101 290", kLabelCells, Look::kLabel);
    const size_t room = line.room();
    for (const IndicatorSnapshot& indicator : stream.indicators)
        if (indicator.measured && indicator.count.total > 0) {
            const Light light = light_of(indicator);
            line.add(indicator.id + " " + light.symbol + " " +
                         std::to_string(indicator.count.total) + "  ",
                     light.look);
        }
    if (line.room() == room) line.add("+ no error", Look::kGood);
    return line;
}

Lines service_lines(const StreamSnapshot& stream, size_t most, size_t columns) {
    if (most < 2) return {};
    Lines lines = {heading("services", columns)};
    const size_t shown = std::min(stream.services.size(), most - 1);
    for (size_t i = 0; i < shown; ++i) {
        const ServiceSnapshot& service = stream.services[i];
        Line& line = lines.emplace_back(columns);
        line.right(std::to_string(service.number), 5)
            .right(std::isnan(service.bit_rate_bps) ? "?" : rate_text(service.bit_rate_bps), 12)
            .left(service.name.empty() ? "(no name)" : printable(service.name), 24)
            .add(printable(service.provider));
        if (service.scrambled) line.add(", scrambled");
        if (!service.now.empty()) line.add(", now: " + printable(service.now));
    }
    if (shown < stream.programs)
        lines.front().add(", the first " + std::to_string(shown) + " of " +
                          std::to_string(stream.programs));
    return lines;
}

Lines event_lines(const StreamSnapshot& stream, size_t most, size_t columns) {
    if (most < 2) return {};
    Lines lines = {heading(stream.events.empty() ? "no events" : "events, latest first", columns)};
    for (const EventSnapshot& event : stream.events) {
        if (lines.size() == most) break;
        Line& line = lines.emplace_back(columns);
        line.right(std::isnan(event.time_s) ? "" : time_text(event.time_s), 13);
        line.left(event.pid == ZV_SURVEY_NONE ? "" : pid_text(static_cast<uint16_t>(event.pid)), 6);
        line.left(event.indicator, 5, Look::kBad).add(event.kind + ": " + printable(event.message));
    }
    return lines;
}

Line key_line(size_t columns) {
    Line line(columns);
    return line.add(" ? help  q quit  s sort  r reset  f freeze", Look::kHeading);
}

Lines help_lines(size_t most, size_t columns) {
    constexpr const char* kTexts[] = {
        "",
        "s          sort PIDs by number, by rate, by errors",
        "Up, Down   move through the PIDs (also PgUp, PgDn, Home)",
        "f          freeze the screen; counting goes on",
        "r          count errors and events anew from now on",
        "?          this page, or away from it",
        "q, Ctrl-C  end, with a report",
        "",
        "+ good  X in error within the last seconds  ! in error",
        "before  - not measured: the input does not allow it",
        "Rates and bars (share of all packets) are of these seconds.",
        "prog: the first programme that names the PID.",
    };
    Lines lines;
    for (const char* const text : kTexts)
        if (lines.size() < most) lines.emplace_back(columns).add(" ").add(text);
    return lines;
}

}  // namespace zvprobe
