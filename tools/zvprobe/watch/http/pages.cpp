// SPDX-License-Identifier: MIT
// Implementation of pages.h.
#include "watch/http/pages.h"

#include <mutex>
#include <sstream>

#include "base/json.h"
#include "base/printable.h"
#include "bitStream.h"
#include "render/json_report.h"
#include "render/page/page_report.h"
#include "watch/http/html.h"
#include "watch/http/metrics.h"

namespace zvprobe {
namespace {

constexpr char kText[] = "text/plain; charset=utf-8";
constexpr char kJson[] = "application/json";
constexpr char kMetrics[] = "text/plain; version=0.0.4; charset=utf-8";
constexpr char kHtml[] = "text/html; charset=utf-8";
constexpr std::string_view kSources = "/api/sources/";
constexpr std::string_view kReports = "/sources/";
constexpr int kIndent = 2;
constexpr int kRenewed_s = 5;
constexpr char kNoFrames[] = "; frame-ancestors 'none'";  // which only a header can say

// Of two who ask at the same time one waits: so many as may ask would otherwise hold some ten MB
// each, and hold up those who receive.
std::mutex one_report;

Json source_json(const WatchedSource& source) {
    const SourceState state = source.state();
    const Tallies& tallies = state.tallies;
    return {{"name", source.settings().name},
            {"labels", source.settings().labels},
            {"up", state.up},
            {"why_away", text_or_null(state.why_away)},
            {"last_packet_unix_s",
             state.last_packet_unix_s > 0 ? Json(state.last_packet_unix_s) : Json(nullptr)},
            {"packets", tallies.packets.sum()},
            {"bytes", tallies.bytes},
            {"sync_losses", tallies.sync_losses.sum()},
            {"transport_errors", tallies.transport_errors.sum()},
            {"continuity_errors", state.indicator("1.4")},
            {"rtp_packets_lost", tallies.rtp_packets_lost.sum()},
            {"receive_drops", tallies.receive_drops},
            {"reconnects", tallies.reconnects}};
}

Page sources_page(const Watch& watch) {
    Json root = {{"schema", "zvprobe-watch/1"},
                 {"library_version", zvbitStream_api_version()},
                 {"sources", Json::array()}};
    for (const auto& source : watch.sources())
        root["sources"].push_back(source_json(*source));
    return {200, kJson, json_text(root, kIndent) + '\n'};
}

Page not_found() {
    return {404, kText, "there is no such page\n"};
}

Page source_page(const Watch& watch, const std::string& name) {
    const auto source = watch.source(name);
    if (!source) return not_found();
    const std::lock_guard lock(one_report);
    std::ostringstream out;
    std::vector<SourceReport> reports;
    reports.push_back(source->report());
    print_json(out, reports);
    return {200, kJson, out.str()};
}

std::string cell(const std::string& text) {
    return "<td>" + html_text(text) + "</td>";
}

std::string state_cell(const SourceState& state) {
    if (state.up) return "<td class=\"up\">up</td>";
    const std::string why = state.why_away.empty() ? "" : ": " + printable(state.why_away);
    return "<td class=\"away\">away" + html_text(why) + "</td>";
}

std::string row_of(const SourceSettings& settings, const SourceState& state) {
    const Tallies& tallies = state.tallies;
    const std::string& name = settings.name;
    std::string row =
        "<tr><td><a href=\"/sources/" + path_part(name) + "\">" + html_text(name) + "</a></td>";
    for (const uint64_t count :
         {tallies.packets.sum(), state.indicator("1.4"), tallies.transport_errors.sum(),
          tallies.rtp_packets_lost.sum(), tallies.receive_drops, tallies.reconnects})
        row += cell(std::to_string(count));
    row += state_cell(state);
    std::string labels;
    for (const auto& [label, value] : settings.labels)
        labels.append(labels.empty() ? "" : ", ").append(label).append("=").append(value);
    return row + cell(labels) + "</tr>\n";
}

// Before the rows: of many, those that are away may be out of sight.
std::string totals_line(size_t count, size_t away) {
    return std::string(away > 0 ? "<p class=\"totals away\">" : "<p class=\"totals\">") +
           std::to_string(count) + (count == 1 ? " source, " : " sources, ") +
           std::to_string(count - away) + " up, " + std::to_string(away) + " away</p>";
}

Page overview(const Watch& watch) {
    std::string table =
        "<table><tr><th>source</th><th>packets</th><th>continuity errors</th>"
        "<th>transport errors</th><th>RTP lost</th><th>dropped</th><th>reopened</th><th>state</th>"
        "<th>labels</th></tr>\n";
    const auto sources = watch.sources();
    size_t away = 0;
    for (const auto& source : sources) {
        const SourceState state = source->state();
        away += state.up ? 0 : 1;
        table += row_of(source->settings(), state);
    }
    const std::string body =
        "<h1>Sources</h1>" + totals_line(sources.size(), away) + table + "</table>";
    const std::string title = away > 0 ? std::to_string(away) + " away - zvprobe" : "zvprobe";
    return {200, kHtml, html_page(title, body), html_page_policy()};
}

// As `probe --html` draws it.
Page report_page(const Watch& watch, const std::string& name) {
    const auto source = watch.source(name);
    if (!source) return not_found();
    const std::lock_guard lock(one_report);
    const SourceReport report = source->report(true);
    const Json live = {
        {"renew_s", kRenewed_s}, {"all", "/"}, {"json", std::string(kSources) + path_part(name)}};
    return {200, kHtml, page_of({&report, 1}, live), live_page_policy() + kNoFrames};
}

Page health_page(const Watch& watch) {
    if (watch.is_working()) return {200, kText, "ok\n"};
    return {503, kText, "the watch stands still\n"};
}

}  // namespace

Page page_at(const Watch& watch, const std::string& path) {
    if (path == "/metrics") return {200, kMetrics, metrics_text(watch)};
    if (path == "/healthz") return health_page(watch);
    if (path == "/api/sources") return sources_page(watch);
    if (path == "/") return overview(watch);
    if (path.starts_with(kSources)) return source_page(watch, path.substr(kSources.size()));
    if (path.starts_with(kReports)) return report_page(watch, path.substr(kReports.size()));
    return not_found();
}

}  // namespace zvprobe
