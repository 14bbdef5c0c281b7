// SPDX-License-Identifier: MIT
// The monitoring tool: a source through the analyser, with a report now and then and at the end.
#include "mpeg/ts_tools/owned.h"
#include "mpeg/ts_tools/stream_tool.h"
#include "ts_tools.h"
#include "zvcommon.h"

namespace {

// Tells when a report is due; without an interval it never is.
class ReportClock {
  public:
    explicit ReportClock(unsigned interval_ms)
        : interval_us_(uint64_t{interval_ms} * 1000), last_us_(zvtime_api_upUs()) {}

    bool is_due() {
        if (interval_us_ == 0) return false;
        const uint64_t elapsed_us = zvtime_api_upUs() - last_us_;
        // Reports stay at multiples of the interval, however late one of them is.
        last_us_ += elapsed_us / interval_us_ * interval_us_;
        return elapsed_us >= interval_us_;
    }

  private:
    uint64_t interval_us_;
    uint64_t last_us_;
};

void monitor(zv::StreamTool& tool, unsigned interval_ms) {
    ReportClock clock(interval_ms);
    for (auto piece = tool.source.next(); !piece.empty(); piece = tool.source.next()) {
        tool.feed.append(piece);
        tool.parse_all();
        if (clock.is_due()) tool.analysis.report(tool.feed.counts());
    }
    tool.feed.finish();
    tool.parse_all();
    tool.analysis.report(tool.feed.counts());
}

}  // namespace

int mpegts_api_tsMonitor(int log_level, const char* url, unsigned interval_ms) {
    if (url == nullptr) return zv::missing_argument();
    const zv::PlatformSession session(log_level, "tsMonitor.txt");
    zv::Owned<zv::StreamTool> tool(zv::kStreamToolTag);
    if (!tool || !tool->open(url, ZV_TS_CHECK_CC)) return ZV_TS_TOOL_CANNOT_OPEN;
    monitor(*tool, interval_ms);
    return tool->source.result();
}
