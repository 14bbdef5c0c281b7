// SPDX-License-Identifier: MIT
// Implementation of interrupt.h.
#include "base/interrupt.h"

#include <csignal>

namespace zvprobe {
namespace {

volatile std::sig_atomic_t interrupt_seen = 0;

extern "C" void note_interrupt(int) {
    interrupt_seen = 1;
}

}  // namespace

void catch_interrupts() {
    interrupt_seen = 0;
    struct sigaction action {};
    action.sa_handler = note_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // and no SA_RESTART: reads must return
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void leave_signals_to_others() {
    sigset_t all;
    sigfillset(&all);
    sigdelset(&all, SIGBUS);  // of a mapped file
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

bool interrupted() {
    return interrupt_seen != 0;
}

}  // namespace zvprobe
