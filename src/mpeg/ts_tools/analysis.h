// SPDX-License-Identifier: MIT
// One context of the analyser for the length of a tool's run, and the report of what it found.
#pragma once

#include <cstdint>
#include <span>

#include "mpeg/mpegts/context.h"
#include "mpeg/ts_tools/packet_feed.h"

namespace zv {

class Analysis {
  public:
    Analysis() = default;
    ~Analysis() { mpegts_deinit(&context_); }
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;

    // options: ZV_TS_*. -> false, logged, when memory is short
    bool open(const char* name, uint32_t options);

    // Takes a run that the feed gave out.
    void parse(const PacketFeed& feed, std::span<const uint8_t> run);

    // Logs the stream-info line, the counts of the feed and the statistics block at level 3.
    void report(const PacketFeed::Counts& counts);

    MPEGTSContext& context() { return *context_; }

  private:
    void log_stream_info();

    MPEGTSContext* context_ = nullptr;
    uint32_t options_ = 0;
    StreamInfo info_ = {};
    char line_[ZV_TS_STREAM_INFO_MAX];
};

}  // namespace zv
