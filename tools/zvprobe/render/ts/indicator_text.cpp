// SPDX-License-Identifier: MIT
// The text about the indicators of ETSI TR 101 290: those that counted something, a line each, and
// one line on what this input does not allow to measure.
#include <algorithm>
#include <array>

#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kIndent = 4;

// They look at the buffers of a decoder.
bool needs_decoder(const Json& indicator) {
    constexpr std::array kIds = {"3.3", "3.9", "3.10"};
    return std::ranges::count(kIds, indicator["id"]) != 0;
}

template <typename Wanted>
std::string ids_of(const Json& indicators, Wanted wanted) {
    std::string text;
    for (const Json& indicator : indicators)
        if (wanted(indicator)) text += (text.empty() ? "" : ", ") + text_of(indicator, "id");
    return text;
}

// -> why 2.4 cannot be measured although there is a clock
std::string no_accuracy(const Json& clock) {
    if (clock["source"] == "arrival") return "time is that of arrival";
    return clock["constant_rate"].is_null() ? "too few PCRs" : "not constant rate";
}

std::string not_measured(const Json& survey) {
    const Json& indicators = survey["tr101290"];
    const std::string decoder = ids_of(indicators, needs_decoder);
    // Without a clock most are missing: it takes less room to name the others.
    if (survey["clock"]["source"] == "none")
        return "all but " +
               ids_of(indicators, [](const Json& i) { return i["measured"] == true; }) +
               " (no PCR; " + decoder + " need a decoder model)";
    std::string text = ids_of(indicators, [](const Json& indicator) {
        return indicator["measured"] == false && !needs_decoder(indicator);
    });
    if (!text.empty()) text += " (" + no_accuracy(survey["clock"]) + "); ";
    return text + decoder + " (needs a decoder model)";
}

std::string pids_text(const EventTally* tally) {
    if (tally == nullptr) return {};
    std::vector<int32_t> pids = tally->pids;
    std::ranges::sort(pids);
    std::string text;
    for (const int32_t pid : pids)
        text += (text.empty() ? "" : ", ") + pid_text(static_cast<uint16_t>(pid));
    return text + (tally->has_more_pids ? ", ..." : "");
}

std::string recent_text(const TsReport& report, const std::string& id) {
    return report.interval ? std::to_string(report.interval->counts.of_indicator(id)) : "";
}

TextTable table_of(const TsReport& report) {
    TextTable table({{"indicator"},
                     {"count", true},
                     {interval_heading(report), true},
                     {"first", true},
                     {"last", true},
                     {"PIDs"}},
                    kIndent);
    for (const Json& indicator : report.survey["tr101290"]) {
        if (figure(indicator, "count").value_or(0) == 0) continue;
        const auto time = [&indicator](const char* name) {
            const auto seconds = figure(indicator, name);
            return seconds ? time_text(*seconds) : std::string();
        };
        const std::string name = text_of(indicator, "name");
        table.add({{text_of(indicator, "id") + " " + name, true},
                   indicator["count"].dump(),
                   recent_text(report, text_of(indicator, "id")),
                   time("first_s"),
                   time("last_s"),
                   pids_text(report.events.of(name))});
    }
    return table;
}

}  // namespace

void print_indicators(std::ostream& out, const TsReport& report, const Style& style) {
    if (report.survey["tr101290"].is_null()) return;
    const TextTable table = table_of(report);
    out << '\n';
    if (table.empty()) {
        begin_line(out, style, "TR 101 290") << style.good("no error") << '\n';
    } else {
        out << "  " << style.heading("TR 101 290") << '\n';
        table.print(out, style);
    }
    begin_line(out, style, "not measured") << not_measured(report.survey) << '\n';
}

}  // namespace zvprobe
