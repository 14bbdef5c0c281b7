// SPDX-License-Identifier: MIT
// The start and end of a tool's run, and the step that every run repeats.
#include "mpeg/ts_tools/stream_tool.h"

#include "bitStream/log.h"
#include "zvcommon.h"

namespace zv {

PlatformSession::PlatformSession(int log_level, const char* log_file) {
    zvlog_api_init(log_level, kLogDirectory, log_file, 0);
    zvmem_api_init(0);
    zvptc_api_init();
    zvptc_api_register();
}

PlatformSession::~PlatformSession() {
    zvptc_api_deinit();
    zvmem_api_deinit();
    zvlog_api_deinit();
}

void StreamTool::parse_all() {
    for (auto run = feed.next(); !run.empty(); run = feed.next())
        analysis.parse(feed, run);
}

int missing_argument() {
    LOG(kLogError, "MPEGTS", "dbuf is null");
    return ZV_TS_TOOL_MISSING_ARGUMENT;
}

}  // namespace zv
