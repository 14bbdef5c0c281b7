// SPDX-License-Identifier: MIT
// Implementation of pages.h.
#include "watch/pages.h"

#include <sstream>

#include "base/json.h"
#include "bitStream.h"
#include "render/json_report.h"
#include "watch/metrics.h"

namespace zvprobe {
namespace {

constexpr char kText[] = "text/plain; charset=utf-8";
constexpr char kJson[] = "application/json";
constexpr char kMetrics[] = "text/plain; version=0.0.4; charset=utf-8";
constexpr std::string_view kSources = "/api/sources/";
constexpr int kIndent = 2;

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
    std::ostringstream out;
    std::vector<SourceReport> reports;
    reports.push_back(source->report());
    print_json(out, reports);
    return {200, kJson, out.str()};
}

Page health_page(const Watch& watch) {
    if (watch.is_ticking()) return {200, kText, "ok\n"};
    return {503, kText, "the watch stands still\n"};
}

}  // namespace

Page page_at(const Watch& watch, const std::string& path) {
    if (path == "/metrics") return {200, kMetrics, metrics_text(watch)};
    if (path == "/healthz") return health_page(watch);
    if (path == "/api/sources") return sources_page(watch);
    if (path.starts_with(kSources)) return source_page(watch, path.substr(kSources.size()));
    return not_found();
}

}  // namespace zvprobe
