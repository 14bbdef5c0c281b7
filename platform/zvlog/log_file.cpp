// SPDX-License-Identifier: MIT
// Implementation of log_file.h. The file is unbuffered and opened for appending, so that every
// text is one write(2) and several processes can share a file.

#include "zvlog/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zvlog {

namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr int kOpenFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC;

// Room for a path and the dot and two digits of a generation.
using GenerationPath = char[PATH_MAX + 16];

constinit LogFile the_log_file;

// Leaves the value alone unless the variable is a decimal number and nothing else.
template <typename Number>
void read_environment(const char* name, Number& value) {
    const char* text = std::getenv(name);
    if (text == nullptr) return;
    Number parsed = 0;
    const char* end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, parsed);
    if (result.ec == std::errc() && result.ptr == end) value = parsed;
}

Rotation with_environment(Rotation rotation) {
    read_environment("ZVLOG_MAX_BYTES", rotation.max_bytes);
    read_environment("ZVLOG_GENERATIONS", rotation.generations);
    rotation.generations = std::min(rotation.generations, ZVLOG_MOST_GENERATIONS);
    return rotation;
}

bool is_set(const char* text) {
    return text != nullptr && *text != '\0';
}

const char* choose_directory(const char* dir) {
    const char* override_dir = std::getenv("ZVLOG_DIR");
    if (is_set(override_dir)) return override_dir;
    return is_set(dir) ? dir : ".";
}

// The path of the log file: `file` itself when it begins with '/', else below ZVLOG_DIR, else below
// `dir`, else in the working directory. False (and errno) when it is too long.
bool build_path(Path& path, const char* dir, const char* file) {
    const int length = *file == '/'
                           ? std::snprintf(path, sizeof path, "%s", file)
                           : std::snprintf(path, sizeof path, "%s/%s", choose_directory(dir), file);
    if (length >= 0 && static_cast<size_t>(length) < sizeof path) return true;
    errno = ENAMETOOLONG;
    return false;
}

// Failures show when the file is opened.
void make_parent_directories(const Path& path) {
    Path parent;
    std::memcpy(parent, path, sizeof parent);
    for (char* slash = std::strchr(parent + 1, '/'); slash != nullptr;
         slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        ::mkdir(parent, kDirectoryMode);
        *slash = '/';
    }
}

// One write(2), unless the system accepts only a part of the text.
bool write_all(int fd, const char* text, size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(fd, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

}  // namespace

LogFile& log_file() {
    return the_log_file;
}

bool LogFile::open(const char* dir, const char* file) {
    const std::lock_guard guard(mutex_);
    close_locked();
    active_ = with_environment(wanted_);
    write_failure_reported_ = false;
    if (build_path(path_, dir, file) && open_path()) {
        reported_[0] = '\0';
        return true;
    }
    report_open_failure();
    return false;
}

bool LogFile::open_path() {
    make_parent_directories(path_);
    return reopen();
}

// Opens path_, and closes the file that was open before only when that succeeded.
bool LogFile::reopen() {
    const int fd = ::open(path_, kOpenFlags, kFileMode);
    if (fd < 0) return false;
    struct stat status {};
    const bool known = ::fstat(fd, &status) == 0;
    size_ = known && S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
    close_locked();
    fd_.store(fd, std::memory_order_relaxed);
    return true;
}

void LogFile::close() {
    const std::lock_guard guard(mutex_);
    close_locked();
}

void LogFile::close_locked() {
    const int fd = fd_.exchange(-1, std::memory_order_relaxed);
    if (fd >= 0) ::close(fd);
}

void LogFile::set_rotation(Rotation rotation) {
    const std::lock_guard guard(mutex_);
    wanted_ = rotation;
}

void LogFile::write(const char* text, size_t length) {
    const std::lock_guard guard(mutex_);
    write_locked(text, length);
}

void LogFile::set_observer(ZvlogObserver observer, void* user) {
    const std::lock_guard guard(mutex_);
    observer_ = observer;
    observer_user_ = user;
    observed_.store(observer != nullptr, std::memory_order_relaxed);
}

void LogFile::write_locked(const char* text, size_t length) {
    if (length == 0) return;
    if (observer_ != nullptr) observer_(observer_user_, text, length);
    if (is_open()) append(text, length);
}

void LogFile::append(const char* text, size_t length) {
    if (active_.max_bytes != 0 && size_ != 0 && size_ + length > active_.max_bytes) rotate();
    if (write_all(fd_.load(std::memory_order_relaxed), text, length)) {
        size_ += length;
    } else {
        report_write_failure();
    }
}

// A file that another process has rotated or removed is only opened again. Whatever
// fails here, the open file stays in use, and the next attempt comes max_bytes later.
void LogFile::rotate() {
    struct stat by_path {};
    struct stat by_fd {};
    size_ = 0;
    if (::fstat(fd_.load(std::memory_order_relaxed), &by_fd) != 0) return;
    const bool present = ::lstat(path_, &by_path) == 0;
    if (present && !S_ISREG(by_path.st_mode)) return;
    if (present && by_path.st_ino == by_fd.st_ino && by_path.st_dev == by_fd.st_dev) {
        if (!shift_generations()) return;
    }
    reopen();
}

// False when path_ still names the open file.
bool LogFile::shift_generations() {
    if (active_.generations == 0) return ::truncate(path_, 0) == 0;
    GenerationPath older;
    GenerationPath newer;
    bool moved = false;
    for (unsigned generation = active_.generations; generation > 0; --generation) {
        std::snprintf(older, sizeof older, "%s.%u", path_, generation);
        std::snprintf(newer, sizeof newer, "%s.%u", path_, generation - 1);
        moved = ::rename(generation == 1 ? path_ : newer, older) == 0;
    }
    return moved;
}

void LogFile::report_open_failure() {
    if (observer_ != nullptr) return;  // nothing is lost
    if (std::strcmp(path_, reported_) == 0) return;
    std::fprintf(stderr, "zvlog: cannot open %s: %s; logging goes on without it\n", path_,
                 std::strerror(errno));
    std::memcpy(reported_, path_, sizeof reported_);
}

void LogFile::report_write_failure() {
    if (write_failure_reported_) return;
    std::fprintf(stderr, "zvlog: cannot write %s: %s\n", path_, std::strerror(errno));
    write_failure_reported_ = true;
}

}  // namespace zvlog
