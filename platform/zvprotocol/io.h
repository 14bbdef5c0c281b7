// SPDX-License-Identifier: MIT
// Owns the smallest pieces of waiting I/O: file descriptors that close themselves, deadlines,
// readiness, and the guard against SIGPIPE. Knows nothing of protocols.
#pragma once

#include <cerrno>
#include <chrono>
#include <csignal>

namespace zvptc {

// How every operation reports: the negated errno, which is also left in errno.
inline int failure(int error) noexcept {
    errno = error;
    return -error;
}

// The result of a call that moved `done` bytes before `error` (0 or a negated errno) occurred: the
// bytes, with the error kept in `pending_error` for the next call. A time-out is not kept: by then
// there may be more.
int partial_result(int done, int error, int& pending_error) noexcept;

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) noexcept : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    ~UniqueFd() { close(); }

    int get() const noexcept { return fd_; }
    int release() noexcept;
    // -> 0 or a negated errno; the descriptor is gone either way.
    int close() noexcept;

  private:
    int fd_ = -1;
};

// The moment by which one call has to return.
class Deadline {
  public:
    // Negative: never.
    explicit Deadline(int timeout_ms) noexcept;
    // Milliseconds left, rounded up; 0 when passed, -1 for "never" (what poll understands).
    int remaining_ms() const noexcept;

  private:
    bool never_;
    std::chrono::steady_clock::time_point end_;
};

// Waits for one of the poll `events`, or for an error, which the next I/O call reports.
// -> 0, -ETIMEDOUT, -EINTR or another negated errno
int wait_ready(int fd, short events, const Deadline& deadline) noexcept;

// While it lives, a write of this thread into a pipe or connection without a reader fails with
// EPIPE and raises no signal, whatever the host has set for SIGPIPE.
class SigpipeGuard {
  public:
    SigpipeGuard() noexcept;
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

  private:
    bool was_pending_ = false;
    sigset_t old_mask_;
};

}  // namespace zvptc
