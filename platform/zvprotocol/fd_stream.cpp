// SPDX-License-Identifier: MIT
// Implementation of fd_stream.h.
#include "zvprotocol/fd_stream.h"

#include <poll.h>
#include <unistd.h>

#include <utility>

namespace zvptc {

// Repeats `step(offset)`, one read or write, until `size` bytes are moved, the stream ends (0), an
// error occurs or the deadline passes.
template <typename Step>
int FdStream::transfer(int size, short events, int& pending_error, Step step) noexcept {
    if (pending_error != 0) return failure(-std::exchange(pending_error, 0));
    const Deadline deadline(timeout_ms_);
    int done = 0;
    while (done < size) {
        if (may_wait_) {
            const int ready = wait_ready(fd_.get(), events, deadline);
            if (ready < 0) return partial_result(done, ready, pending_error);
        }
        const ssize_t moved = step(done);
        if (moved == 0) break;
        if (moved < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && may_wait_) continue;
        if (moved < 0) return partial_result(done, -errno, pending_error);
        done += static_cast<int>(moved);
    }
    return done;
}

int FdStream::read(uint8_t* buffer, int size) noexcept {
    if (!buffer || size < 1) return failure(EINVAL);
    return transfer(size, POLLIN, read_error_, [&](int done) {
        return ::read(fd_.get(), buffer + done, static_cast<size_t>(size - done));
    });
}

int FdStream::write(const uint8_t* buffer, int size) noexcept {
    if (!buffer || size < 1) return failure(EINVAL);
    const SigpipeGuard guard;
    return transfer(size, POLLOUT, write_error_, [&](int done) {
        return ::write(fd_.get(), buffer + done, static_cast<size_t>(size - done));
    });
}

}  // namespace zvptc
