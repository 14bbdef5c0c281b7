// SPDX-License-Identifier: MIT
// Implementation of service_manager.h.
#include "commands/parts/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>

#include "base/printable.h"
#include "render/log_line.h"

namespace zvprobe {
namespace {

// A manager that does not read must not hold up the service for long.
constexpr std::chrono::seconds kPatience{1};
constexpr std::chrono::milliseconds kPause{5};

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// -> 0 when it is no number
int64_t number_of(const std::string& text) {
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? number : 0;
}

// The watchdog may be meant for another process, which started this one.
bool watchdog_is_for_this() {
    const std::string pid = variable("WATCHDOG_PID");
    return pid.empty() || number_of(pid) == getpid();
}

// -> 0 or an errno
int send_patiently(int fd, const sockaddr_un& address, socklen_t size, std::string_view text) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        if (sendto(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                   reinterpret_cast<const sockaddr*>(&address), size) >= 0)
            return 0;
        const int error = errno;
        // Signals that end waits would end one in the call again and again.
        if (error != EINTR && error != EAGAIN) return error;
        if (std::chrono::steady_clock::now() >= end) return error;
        std::this_thread::sleep_for(kPause);
    }
}

// -> 0 or an errno
int send_to(const std::string& name, std::string_view text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() >= sizeof address.sun_path) return ENAMETOOLONG;
    name.copy(address.sun_path, name.size());
    const bool is_abstract = name.front() == '@';  // its length counts, and no end is written
    if (is_abstract) address.sun_path[0] = '\0';
    const size_t size = offsetof(sockaddr_un, sun_path) + name.size() + (is_abstract ? 0 : 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return errno;
    const int error = send_patiently(fd, address, static_cast<socklen_t>(size), text);
    close(fd);
    return error;
}

int64_t monotonic_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

}  // namespace

ServiceManager::ServiceManager() : socket_(variable("NOTIFY_SOCKET")) {
    const int64_t watchdog_us = number_of(variable("WATCHDOG_USEC"));
    // Half the time, as sd_watchdog_enabled(3) advises.
    if (watchdog_us > 0 && watchdog_is_for_this())
        interval_ = std::chrono::microseconds(watchdog_us / 2);
}

void ServiceManager::ready(const std::string& status) {
    tell("READY=1\nSTATUS=" + printable(status));
}

// The time tells the manager which of several wishes to reload this one answers.
void ServiceManager::reloading() {
    tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonic_us()));
}

void ServiceManager::stopping() {
    tell("STOPPING=1");
}

void ServiceManager::is_alive() {
    const auto now = Clock::now();
    if (interval_ == Clock::duration::zero() || now < next_sign_) return;
    next_sign_ = now + interval_;
    tell("WATCHDOG=1");
}

void ServiceManager::tell(const std::string& state) {
    if (socket_.empty()) return;
    const int error = send_to(socket_, state);
    if (error == 0 || failure_is_told_) return;
    failure_is_told_ = true;
    log_line(Gravity::kWarning, "the service manager at " + in_quotes(socket_) +
                                    " cannot be told: " + std::strerror(error));
}

}  // namespace zvprobe
