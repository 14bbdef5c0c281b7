// SPDX-License-Identifier: MIT
// Implementation of interrupt.h.
#include "base/interrupt.h"

#include <atomic>
#include <csignal>

namespace zvprobe {
namespace {

std::atomic<int> first_signal{0};
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers may use no other");

}  // namespace

bool interrupted() {
    return first_signal.load() != 0;
}

int interrupting_signal() {
    return first_signal.load();
}

void note_interrupt(int signal) {
    int none = 0;
    first_signal.compare_exchange_strong(none, signal);
}

void forget_interrupts() {
    first_signal.store(0);
}

void leave_signals_to_others() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace zvprobe
