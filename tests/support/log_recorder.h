// SPDX-License-Identifier: MIT
// Stands in for the host's log library: keeps what was logged instead of writing it. Including it
// and making a LogRecorder is enough, the linker then leaves the real library out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zvtest {

struct LogLine {
    int level;
    std::string tag;
    std::string body;  // the message without prefix and line end
    std::string raw;   // as it would have reached the file; the time is 2024-05-06 07:08:09.123
};

struct HexDump {
    std::string label;
    int length;
    std::vector<uint8_t> bytes;
};

// Records from construction to destruction; level, filter and switches are then as in a fresh
// process. Only one lives at a time.
class LogRecorder {
  public:
    explicit LogRecorder(unsigned level = 6, std::string_view tag_filter = "");
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    void clear();
    // The bodies of one level's lines, or of all.
    std::vector<std::string> bodies(int level = -1) const;
    // The same, '|' between them.
    std::string text(int level = -1) const;
    // How many bodies contain the text.
    int count(std::string_view text) const;

    std::vector<LogLine> lines;
    std::vector<HexDump> hex_dumps;
    int level_questions = 0;  // calls of zvlog_api_getLoglevel
    // The file names given to zvlog_api_init, as "dir/file"; an empty name for the console.
    std::vector<std::string> opened;
};

}  // namespace zvtest
