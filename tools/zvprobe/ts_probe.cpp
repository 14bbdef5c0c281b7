// SPDX-License-Identifier: MIT
// Implementation of ts_probe.h: source, feed and resolver put together.
#include "ts_probe.h"

#include "continuity_watch.h"
#include "interrupt.h"
#include "resolver.h"
#include "table_watch.h"
#include "ts_feed.h"

namespace zvprobe {
namespace {

// One run over a source.
class TsProbe {
  public:
    TsProbe(Findings& findings, const SyncPoint& first, const TsProbeOptions& options)
        : options_(options),
          packet_size_(first.packet_size),
          resolver_(findings.source()),
          tables_(findings),
          feed_(resolver_, first, feed_options(), findings) {
        if (findings.told()) continuity_.emplace(tables_, findings);
    }

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
        report.table_continuity = tables_.totals();
        report.crc_errors = tables_.crc_errors();
        if (options_.statistics) report.tables = tables_.continuity(report.programs());
        return report;
    }

  private:
    FeedOptions feed_options() {
        FeedOptions feed;
        if (options_.pace == Pace::kPcr) feed.parse_options |= ZV_TS_PACE_PCR;
        if (options_.pace == Pace::kPts) feed.parse_options |= ZV_TS_PACE_PES;
        feed.paced = options_.pace != Pace::kNone;
        feed.on_packets = [this](std::span<const uint8_t> packets, uint64_t offset) {
            tables_.see(packets, packet_size_, offset);
            if (continuity_) continuity_->see(packets, packet_size_, offset);
            if (options_.on_packets) options_.on_packets(packets, packet_size_);
        };
        return feed;
    }

    const TsProbeOptions& options_;
    size_t packet_size_;
    Resolver resolver_;
    TableWatch tables_;
    std::optional<ContinuityWatch> continuity_;  // when somebody listens
    TsFeed feed_;
    std::unique_ptr<StreamInfo> info_ = std::make_unique<StreamInfo>();
    bool tables_complete_ = false;
};

}  // namespace

TsReport probe_transport_stream(Findings& findings, Source& source,
                                std::span<const uint8_t> first_window, const SyncPoint& first,
                                const TsProbeOptions& options) {
    TsProbe probe(findings, first, options);
    probe.read(source, first_window);
    return probe.report();
}

}  // namespace zvprobe
