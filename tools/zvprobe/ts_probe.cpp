// SPDX-License-Identifier: MIT
// Implementation of ts_probe.h: source, feed and resolver put together.
#include "ts_probe.h"

#include "interrupt.h"
#include "resolver.h"
#include "table_watch.h"
#include "ts_feed.h"

namespace zvprobe {
namespace {

FeedOptions feed_options(const TsProbeOptions& options, TableWatch* table_watch,
                         size_t packet_size) {
    FeedOptions feed;
    feed.table_watch = table_watch;
    if (options.pace == Pace::kPcr) feed.parse_options |= ZV_TS_PACE_PCR;
    if (options.pace == Pace::kPts) feed.parse_options |= ZV_TS_PACE_PES;
    feed.paced = options.pace != Pace::kNone;
    if (options.on_packets) {
        feed.on_packets = [&options, packet_size](std::span<const uint8_t> packets) {
            options.on_packets(packets, packet_size);
        };
    }
    return feed;
}

// One run over a source.
class TsProbe {
  public:
    TsProbe(const std::string& name, const SyncPoint& first, const TsProbeOptions& options)
        : options_(options),
          resolver_(name),
          feed_(resolver_, first, make_feed_options(first.packet_size)) {}

    void read(Source& source, std::span<const uint8_t> window) {
        for (;;) {
            const bool last = source.at_end();
            const size_t taken = feed_.take(window, last);
            if (options_.on_progress) options_.on_progress(feed_.reading().bytes);
            if (interrupted() || last) return;
            if (options_.is_report_due && options_.is_report_due()) options_.on_report(report());
            window = source.next(window.size() - taken);
        }
    }

    // The resolver has something to say only when tables came since it was asked last. Until then
    // what it said then is still the best account.
    TsReport report() {
        TsReport report;
        report.reading = feed_.reading();
        tables_complete_ = resolver_.update(*info_) || tables_complete_;
        report.tables_complete = tables_complete_;
        *report.info = *info_;
        if (table_watch_) report.tables = table_watch_->continuity(report.programs());
        return report;
    }

  private:
    FeedOptions make_feed_options(size_t packet_size) {
        if (options_.statistics) table_watch_.emplace();
        return feed_options(options_, table_watch_ ? &*table_watch_ : nullptr, packet_size);
    }

    const TsProbeOptions& options_;
    Resolver resolver_;
    std::optional<TableWatch> table_watch_;
    TsFeed feed_;
    std::unique_ptr<StreamInfo> info_ = std::make_unique<StreamInfo>();
    bool tables_complete_ = false;
};

}  // namespace

TsReport probe_transport_stream(const std::string& name, Source& source,
                                std::span<const uint8_t> first_window, const SyncPoint& first,
                                const TsProbeOptions& options) {
    TsProbe probe(name, first, options);
    probe.read(source, first_window);
    return probe.report();
}

}  // namespace zvprobe
