// SPDX-License-Identifier: MIT
// Implementation of descriptors.h.
#include "base/descriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

namespace zvprobe {
namespace {

// An error of the descriptor is for the next write to name.
void wait_for_room(int fd) {
    pollfd entry = {fd, POLLOUT, 0};
    poll(&entry, 1, -1);
}

}  // namespace

void occupy_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) >= 0) continue;
        // The lowest free number is this one. The wrong direction makes its use fail.
        static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

uint64_t raise_descriptor_limit() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return UINT64_MAX;
    const rlimit raised = {limit.rlim_max, limit.rlim_max};
    return setrlimit(RLIMIT_NOFILE, &raised) == 0 ? raised.rlim_cur : limit.rlim_cur;
}

int write_all(int fd, std::span<const uint8_t> bytes, const std::function<bool()>& gives_up) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count >= 0)
            bytes = bytes.subspan(static_cast<size_t>(count));
        else if (errno == EAGAIN || errno == EWOULDBLOCK)
            wait_for_room(fd);
        else if (errno != EINTR)
            return errno;
        // A signal may also show as a write that stopped short: the next would block again.
        if (!bytes.empty() && gives_up()) return EINTR;
    }
    return 0;
}

}  // namespace zvprobe
