// SPDX-License-Identifier: MIT
// The library's log lines while one of its tools runs: such a tool opens its own log file, so what
// the user asked to see, and what the command wants to know, is read along.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

#include "commands/session.h"

namespace zvprobe {

// At most one exists at a time. Lines come from any thread, one at a time.
class LibraryLog {
  public:
    // on_report: gets the body of every line of level 3, of which the tools' reports are made
    LibraryLog(const Session& session, std::function<void(std::string_view)> on_report);
    ~LibraryLog();
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    // The level to run the tool at.
    int level() const;

    // -> the body of the last error line, empty when there was none
    const std::string& last_error() const { return last_error_; }

  private:
    void take(std::string_view text);
    void pass_on(int level, std::string_view text) const;

    std::function<void(std::string_view)> on_report_;
    int user_level_;
    FILE* user_file_ = nullptr;
    std::string last_error_;
};

}  // namespace zvprobe
