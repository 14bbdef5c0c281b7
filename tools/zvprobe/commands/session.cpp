// SPDX-License-Identifier: MIT
// Implementation of session.h.
#include "commands/session.h"

#include <algorithm>

#include "zvlog.h"

namespace zvprobe {
namespace {

constexpr int kLogInformation = 3;
constexpr int kLogEverything = 6;

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
    const bool to_file = !session.log_file.empty();
    zvlog_api_init(level, nullptr, to_file ? session.log_file.c_str() : "/dev/stderr", 0);
}

}  // namespace zvprobe
