// SPDX-License-Identifier: MIT
// Buffered writing under a temporary name, and what becomes of it.
#include "mpeg/ts_tools/result_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bitStream/log.h"
#include "zvcommon.h"

namespace zv {
namespace {

constexpr char kTag[] = "OutFile";
constexpr char kSubTag[] = "ts_tools";
constexpr mode_t kMode = 0666;
constexpr int kNameAttempts = 100;

void log_failure(const char* path, int error) {
    LOG(kLogError, "MPEGTS", "Write %s failed:%s", path, strerror(error));
}

// A reader that has closed its end must fail the write, not end the host: blocks SIGPIPE in
// this thread, and removes the signal that a write during its lifetime raised.
class BrokenPipeGuard {
  public:
    BrokenPipeGuard() {
        sigemptyset(&only_pipe_);
        sigaddset(&only_pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &only_pipe_, &before_);
    }
    ~BrokenPipeGuard() {
        const int error = errno;
        constexpr timespec kNow = {};
        if (!was_pending_) sigtimedwait(&only_pipe_, nullptr, &kNow);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

  private:
    sigset_t only_pipe_;
    sigset_t before_;
    bool was_pending_;
};

int directory_length(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != nullptr ? static_cast<int>(slash - path) + 1 : 0;
}

}  // namespace

bool ResultFile::open(const char* path) {
    void* memory = zvmem_api_malloc(sizeof(State), kTag, kSubTag, __FILE__, __LINE__);
    state_ = static_cast<State*>(memory);
    if (state_ == nullptr) {
        LOG(kLogError, "MPEGTS", "Malloc %s|%s failed,please check the memory", kTag, kSubTag);
        return false;
    }
    state_->fd = -1;
    state_->buffered = 0;
    state_->is_finished = false;
    return open_state(path);
}

// What a link leads to is written, not the link. A file that exists and is not regular has readers
// of its own, so it keeps its place; it need not have a path: /dev/stdout may lead to a pipe.
bool ResultFile::open_state(const char* path) {
    struct stat status;
    const bool exists = stat(path, &status) == 0;
    const bool has_path = realpath(path, state_->path) != nullptr;
    if (!has_path) {
        const int length = snprintf(state_->path, sizeof state_->path, "%s", path);
        if (static_cast<size_t>(length) >= sizeof state_->path) return fail(ENAMETOOLONG);
    }
    state_->is_temporary = !exists || (has_path && S_ISREG(status.st_mode));
    if (state_->is_temporary) return open_temporary();
    state_->fd = ::open(path, O_WRONLY | O_CLOEXEC);
    return state_->fd >= 0 || fail(errno);
}

bool ResultFile::open_temporary() {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const int length = snprintf(state_->written_path, sizeof state_->written_path,
                                    "%.*s.zv-%ld-%u.part", directory_length(state_->path),
                                    state_->path, static_cast<long>(getpid()), counter++);
        if (static_cast<size_t>(length) >= sizeof state_->written_path) return fail(ENAMETOOLONG);
        state_->fd = ::open(state_->written_path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
        if (state_->fd >= 0 || errno != EEXIST) break;
    }
    return state_->fd >= 0 || fail(errno);
}

bool ResultFile::write(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        if (state_->fd < 0) return false;
        const size_t size = std::min(bytes.size(), kBufferSize - state_->buffered);
        memcpy(state_->buffer + state_->buffered, bytes.data(), size);
        state_->buffered += size;
        bytes = bytes.subspan(size);
        if (state_->buffered == kBufferSize && !write_out()) return false;
    }
    return true;
}

bool ResultFile::write_out() {
    const BrokenPipeGuard guard;
    size_t done = 0;
    while (done < state_->buffered) {
        const ssize_t written = ::write(state_->fd, state_->buffer + done, state_->buffered - done);
        if (written == 0) return fail(EIO);
        if (written < 0 && errno != EINTR) return fail(errno);
        if (written > 0) done += static_cast<size_t>(written);
    }
    state_->buffered = 0;
    return true;
}

bool ResultFile::finish() {
    if (state_->fd < 0 || !write_out()) return false;
    const int fd = state_->fd;
    state_->fd = -1;
    state_->is_finished = true;
    // Some file systems report only now that there was no room.
    return ::close(fd) == 0 || fail(errno);
}

bool ResultFile::commit() {
    if (!state_->is_finished && !finish()) return false;
    if (state_->is_temporary && rename(state_->written_path, state_->path) != 0) return fail(errno);
    free_state();
    return true;
}

void ResultFile::abandon() {
    if (state_ == nullptr) return;
    drop_file();
    free_state();
}

// Keeps the state, without a file, so that later calls know.
bool ResultFile::fail(int error) {
    log_failure(state_->path, error);
    drop_file();
    return false;
}

void ResultFile::drop_file() {
    const bool is_written = state_->fd >= 0 || state_->is_finished;
    if (state_->fd >= 0) ::close(state_->fd);
    if (is_written && state_->is_temporary) unlink(state_->written_path);
    state_->fd = -1;
    state_->is_finished = false;
}

void ResultFile::free_state() {
    zvmem_api_free(&state_);
    state_ = nullptr;
}

bool is_writable_directory(const char* path) {
    struct stat status;
    if (stat(path, &status) == 0) {
        if (!S_ISDIR(status.st_mode))
            errno = ENOTDIR;
        else if (access(path, W_OK | X_OK) == 0)
            return true;
    }
    log_failure(path, errno);
    return false;
}

}  // namespace zv
