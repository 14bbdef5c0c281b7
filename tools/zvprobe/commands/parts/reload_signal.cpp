// SPDX-License-Identifier: MIT
// Implementation of reload_signal.h.
#include "commands/parts/reload_signal.h"

#include <atomic>
#include <csignal>

namespace zvprobe {
namespace {

std::atomic<bool> wanted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may use no other");

extern "C" void note_reload(int) {
    wanted = true;
}

}  // namespace

void expect_reload_signals() {
    struct sigaction action {};
    action.sa_handler = note_reload;
    sigemptyset(&action.sa_mask);
    sigaction(SIGHUP, &action, nullptr);
}

bool reload_wanted() {
    return wanted.exchange(false);
}

}  // namespace zvprobe
