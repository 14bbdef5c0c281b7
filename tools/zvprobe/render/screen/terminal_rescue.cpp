// SPDX-License-Identifier: MIT
// Implementation of terminal_rescue.h.
#include "render/screen/terminal_rescue.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace zvprobe {
namespace {

// SIGINT and its like ask for the end first (interrupt.h); these leave no time to ask.
constexpr std::array kFatal = {SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE};

struct Rescue {
    int fd;
    termios modes;
    std::array<char, 256> text;
    size_t size;
    std::array<struct sigaction, kFatal.size()> before;
};
Rescue rescue;
std::atomic<bool> armed = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may use no other");

void restore_handlers() {
    for (size_t i = 0; i < kFatal.size(); ++i)
        sigaction(kFatal[i], &rescue.before[i], nullptr);
}

// What handled the signal before does so now: by default it ends the process.
extern "C" void give_back_and_end(int signal) {
    restore_handlers();
    rescue_terminal();
    raise(signal);
}

}  // namespace

void arm_terminal_rescue(int fd, std::string_view text) {
    rescue.fd = fd;
    rescue.size = std::min(text.size(), rescue.text.size());
    std::copy_n(text.begin(), rescue.size, rescue.text.begin());
    if (tcgetattr(fd, &rescue.modes) != 0) return;
    struct sigaction action {};
    action.sa_handler = give_back_and_end;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < kFatal.size(); ++i)
        sigaction(kFatal[i], &action, &rescue.before[i]);
    armed = true;
}

void disarm_terminal_rescue() {
    if (armed.exchange(false)) restore_handlers();
}

void leave_terminal() {
    if (!armed) return;
    const int error = errno;
    tcsetattr(rescue.fd, TCSANOW, &rescue.modes);
    [[maybe_unused]] const ssize_t written = write(rescue.fd, rescue.text.data(), rescue.size);
    errno = error;
}

void rescue_terminal() {
    if (armed && has_terminal(rescue.fd)) leave_terminal();
    armed = false;
}

bool has_terminal(int fd) {
    return tcgetpgrp(fd) == getpgrp();
}

}  // namespace zvprobe
