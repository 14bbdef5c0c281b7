// SPDX-License-Identifier: MIT
// Implementation of signals.h.
#include "cli/signals.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include "base/interrupt.h"
#include "io/output/unnamed_file.h"
#include "render/screen/terminal_rescue.h"

namespace zvprobe {
namespace {

constexpr long kNudgeInterval_ns = 20'000'000;
constexpr int kStatusOfSignals = 128;  // what shells add the signal to

timer_t nudges;  // sends SIGALRM again and again once it is set
bool nudges_exist = false;
std::atomic<bool> lost_readers_are_told{false};

extern "C" void do_nothing(int) {}

extern "C" void see_signal(int signal) {
    const int error = errno;
    if (interrupted() || (signal == SIGPIPE && !lost_readers_are_told)) end_by_signal(signal);
    note_interrupt(signal);
    const itimerspec often = {{0, kNudgeInterval_ns}, {0, kNudgeInterval_ns}};
    if (nudges_exist) timer_settime(nudges, 0, &often, nullptr);
    errno = error;
}

void make_nudges() {
    if (nudges_exist) return;
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    nudges_exist = timer_create(CLOCK_MONOTONIC, &event, &nudges) == 0;
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;  // and no SA_RESTART: reads must return
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

bool is_ignored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void catch_signals() {
    std::signal(SIGXFSZ, SIG_IGN);
    make_nudges();
    handle(SIGALRM, do_nothing);
    // Shells start background jobs with SIGINT ignored, and it is meant for them all the same.
    for (const int signal : {SIGINT, SIGTERM})
        handle(signal, see_signal);
    for (const int signal : {SIGHUP, SIGPIPE})
        if (!is_ignored(signal)) handle(signal, see_signal);
}

void let_lost_readers_be_told() {
    lost_readers_are_told = true;
}

void end_by_signal(int signal) {
    remove_unnamed_files();
    rescue_terminal();
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    kill(getpid(), signal);
    _exit(kStatusOfSignals + signal);
}

}  // namespace zvprobe
