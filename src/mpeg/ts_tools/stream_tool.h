// SPDX-License-Identifier: MIT
// What the stream tools have in common: starting and ending the host's libraries, and the line
// source -> packet feed -> analyser.
#pragma once

#include "mpeg/ts_tools/analysis.h"
#include "mpeg/ts_tools/packet_feed.h"
#include "mpeg/ts_tools/url_source.h"

namespace zv {

// Starts log (into /var/log/tavrix), memory and protocol library; ends them in reverse.
class PlatformSession {
  public:
    PlatformSession(int log_level, const char* log_file);
    ~PlatformSession();
    PlatformSession(const PlatformSession&) = delete;
    PlatformSession& operator=(const PlatformSession&) = delete;
};

// The tools' allocation tag.
inline constexpr char kStreamToolTag[] = "StreamTool";

struct StreamTool {
    UrlSource source;
    PacketFeed feed;
    Analysis analysis;

    bool open(const char* url, uint32_t options) {
        return source.open(url) && analysis.open(url, options);
    }
    // Analyses the packets that the feed has, and no more than that.
    void parse_all();
};

// Logs that a tool was called without its source. -> the tool's result
int missing_argument();

}  // namespace zv
