// SPDX-License-Identifier: MIT
// Implementation of session.h.
#include "session.h"

#include <algorithm>
#include <iostream>

#include "terminal.h"
#include "zvlog.h"

namespace zvprobe {
namespace {

constexpr int kLogWarnings = 2;
constexpr int kLogInformation = 3;
constexpr int kLogEverything = 6;

}  // namespace

int wanted_log_level(const Session& session) {
    const bool to_file = !session.log_file.empty();
    if (!to_file && session.verbosity == 0) return 0;
    const int least = to_file ? kLogInformation : kLogWarnings - 1;
    return std::min(least + session.verbosity, kLogEverything);
}

void start_log(const Session& session) {
    const int level = wanted_log_level(session);
    if (level == 0) {
        zvlog_api_setLoglevel(0);  // nobody listens: no message is made
        return;
    }
    const bool to_file = !session.log_file.empty();
    zvlog_api_init(level, nullptr, to_file ? session.log_file.c_str() : "/dev/stderr", 0);
}

void complain(const std::string& name, const std::string& message) {
    std::cerr << "zvprobe: " << (name.empty() ? "\"\"" : printable(name)) << ": " << message
              << '\n';
}

}  // namespace zvprobe
