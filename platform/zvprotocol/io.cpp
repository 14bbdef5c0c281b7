// SPDX-License-Identifier: MIT
// Implementation of io.h.
#include "zvprotocol/io.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

namespace zvptc {

int partial_result(int done, int error, int& pending_error) noexcept {
    if (done == 0) return error == 0 ? 0 : failure(-error);
    if (error != -ETIMEDOUT) pending_error = error;
    return done;
}

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
        close();
        fd_ = other.release();
    }
    return *this;
}

int UniqueFd::release() noexcept {
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

int UniqueFd::close() noexcept {
    const int fd = release();
    if (fd < 0 || ::close(fd) == 0) return 0;
    // Linux frees the descriptor even when a signal interrupts close: not a failure to report.
    return errno == EINTR ? 0 : -errno;
}

Deadline::Deadline(int timeout_ms) noexcept
    : never_(timeout_ms < 0),
      end_(std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(timeout_ms, 0))) {}

int Deadline::remaining_ms() const noexcept {
    if (never_) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

int wait_ready(int fd, short events, const Deadline& deadline) noexcept {
    pollfd entry{fd, events, 0};
    const int ready = poll(&entry, 1, deadline.remaining_ms());
    if (ready > 0) return 0;
    return ready == 0 ? -ETIMEDOUT : -errno;
}

namespace {
sigset_t sigpipe_set() noexcept {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool sigpipe_pending() noexcept {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}
}  // namespace

SigpipeGuard::SigpipeGuard() noexcept {
    const sigset_t set = sigpipe_set();
    pthread_sigmask(SIG_BLOCK, &set, &old_mask_);
    was_pending_ = sigpipe_pending();
}

SigpipeGuard::~SigpipeGuard() {
    const int saved_errno = errno;
    if (!was_pending_ && sigpipe_pending()) {
        // Take back the signal our own write has raised, before the old mask lets it through.
        const sigset_t set = sigpipe_set();
        const timespec no_wait{0, 0};
        while (sigtimedwait(&set, nullptr, &no_wait) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &old_mask_, nullptr);
    errno = saved_errno;
}

}  // namespace zvptc
