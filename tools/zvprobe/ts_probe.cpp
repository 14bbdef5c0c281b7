// SPDX-License-Identifier: MIT
// Implementation of ts_probe.h: source, feed and resolver put together.
#include "ts_probe.h"

#include "interrupt.h"
#include "resolver.h"
#include "table_watch.h"
#include "ts_feed.h"

namespace zvprobe {
namespace {

FeedOptions feed_options(const TsProbeOptions& options, TableWatch* table_watch) {
    FeedOptions feed;
    feed.table_watch = table_watch;
    if (options.pace == Pace::kPcr) feed.parse_options |= ZV_TS_PACE_PCR;
    if (options.pace == Pace::kPts) feed.parse_options |= ZV_TS_PACE_PES;
    feed.paced = options.pace != Pace::kNone;
    return feed;
}

void read_all(Source& source, std::span<const uint8_t> window, TsFeed& feed,
              const std::function<void(uint64_t)>& on_progress) {
    for (bool last = false; !last;) {
        last = source.at_end();
        const size_t taken = feed.take(window, last);
        if (on_progress) on_progress(feed.reading().bytes);
        if (interrupted()) return;
        if (!last) window = source.next(window.size() - taken);
    }
}

}  // namespace

TsReport probe_transport_stream(const std::string& name, Source& source,
                                std::span<const uint8_t> first_window, const SyncPoint& first,
                                const TsProbeOptions& options) {
    Resolver resolver(name);
    std::optional<TableWatch> table_watch;
    if (options.statistics) table_watch.emplace();
    TsFeed feed(resolver, first, feed_options(options, table_watch ? &*table_watch : nullptr));
    read_all(source, first_window, feed, options.on_progress);

    TsReport report;
    report.reading = feed.reading();
    report.tables_complete = resolver.update(*report.info);
    if (table_watch) report.tables = table_watch->continuity(report.programs());
    return report;
}

}  // namespace zvprobe
