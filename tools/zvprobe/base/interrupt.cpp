// SPDX-License-Identifier: MIT
// Implementation of interrupt.h.
#include "base/interrupt.h"

namespace zvprobe {
namespace {

std::atomic<int> first_signal{0};
thread_local const std::atomic<bool>* end_of_thread = nullptr;
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers may use no other");

}  // namespace

bool interrupted() {
    return first_signal.load() != 0 || (end_of_thread != nullptr && end_of_thread->load());
}

int interrupting_signal() {
    return first_signal.load();
}

void note_interrupt(int signal) {
    int none = 0;
    first_signal.compare_exchange_strong(none, signal);
}

void interrupt_by(const std::atomic<bool>* flag) {
    end_of_thread = flag;
}

void forget_interrupts() {
    first_signal.store(0);
}

}  // namespace zvprobe
