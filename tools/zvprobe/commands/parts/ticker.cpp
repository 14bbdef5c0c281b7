// SPDX-License-Identifier: MIT
// Implementation of ticker.h.
#include "commands/parts/ticker.h"

#include <sys/time.h>

#include <csignal>

namespace zvprobe {
namespace {

extern "C" void wake(int) {}

void set_timer(std::chrono::microseconds interval) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(interval);
    itimerval timer{};
    timer.it_interval.tv_sec = static_cast<time_t>(seconds.count());
    timer.it_interval.tv_usec = static_cast<suseconds_t>((interval - seconds).count());
    timer.it_value = timer.it_interval;
    setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

Ticker::Ticker(std::chrono::microseconds interval)
    : interval_(interval), next_(Clock::now() + interval) {
    struct sigaction action {};
    action.sa_handler = wake;  // and no SA_RESTART: reads must return
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    set_timer(interval);
}

Ticker::~Ticker() {
    set_timer({});
}

bool Ticker::due() {
    const auto now = Clock::now();
    if (now < next_) return false;
    next_ += (now - next_) / interval_ * interval_ + interval_;
    return true;
}

}  // namespace zvprobe
