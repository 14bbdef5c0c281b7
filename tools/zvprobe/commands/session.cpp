// SPDX-License-Identifier: MIT
// Implementation of session.h.
#include "commands/session.h"

#include <algorithm>
#include <iostream>

#include "base/printable.h"
#include "render/progress.h"
#include "zvlog.h"
#include "zvlog_ext.h"

namespace zvprobe {
namespace {

constexpr int kLogInformation = 3;
constexpr int kLogEverything = 6;

// Names out of the stream stand in it, which may hold anything.
void show_line(void*, const char* text, size_t length) {
    std::string_view line(text, length);
    line = line.substr(0, line.find_last_not_of("\r\n") + 1);
    wipe_progress();
    std::cerr << printable(line) << '\n';
}

}  // namespace

int wanted_log_level(const Session& session) {
    const bool to_file = !session.log_file.empty();
    // The first -v is for the tool's own findings.
    const int more = std::max(session.verbosity - 1, 0);
    if (!to_file && more == 0) return 0;
    return std::min(kLogInformation + more - (to_file ? 0 : 1), kLogEverything);
}

void start_log(const Session& session) {
    const int level = wanted_log_level(session);
    if (level == 0) {
        zvlog_api_setLoglevel(0);  // no message is made
        return;
    }
    if (!session.log_file.empty()) {
        zvlog_api_init(level, nullptr, session.log_file.c_str(), 0);
        return;
    }
    zvlog_api_init(level, nullptr, "/dev/null", 0);
    zvlog_ext_setObserver(show_line, nullptr);
}

void stop_log() {
    zvlog_ext_setObserver(nullptr, nullptr);
    zvlog_api_deinit();
}

}  // namespace zvprobe
