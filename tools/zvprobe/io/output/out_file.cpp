// SPDX-License-Identifier: MIT
// Implementation of out_file.h.
#include "io/output/out_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "base/descriptors.h"
#include "base/interrupt.h"

namespace zvprobe {
namespace {

constexpr size_t kPendingSize = size_t{256} << 10;
constexpr int kMostLinks = 40;  // as many as the kernel follows

[[noreturn]] void fail(int error = errno) {
    throw OutputError(error == EINTR ? "interrupted" : std::strerror(error));
}

// -> what a link holds, empty for what is no link
std::string link_target(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t size = readlink(path.c_str(), target, sizeof target);
    return size < 0 ? std::string() : std::string(target, static_cast<size_t>(size));
}

// -> where the last of the links leads, whether or not there is a file
std::string follow_links(std::string path) {
    for (int i = 0; i < kMostLinks; ++i) {
        const std::string target = link_target(path);
        if (target.empty()) return path;
        path.erase(target.front() == '/' ? 0 : path.rfind('/') + 1);
        path += target;
    }
    fail(ELOOP);
}

bool are_the_same(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

mode_t mode_of_new_files() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool is_standard_output(const std::string& path) {
    return path == "-" || path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

OutFile::OutFile(const std::string& path) {
    if (is_standard_output(path)) {
        fd_ = STDOUT_FILENO;
        owns_fd_ = false;
    } else {
        choose_way(path);
    }
}

void OutFile::choose_way(const std::string& path) {
    struct stat status {};
    struct stat followed {};
    const bool stands = stat(path.c_str(), &status) == 0;
    if (!stands && errno != ENOENT) fail();
    if (stands && !S_ISREG(status.st_mode)) return open_directly(path.c_str());
    path_ = follow_links(path);
    if (!stands) return open_beside(mode_of_new_files());
    // Links to descriptors may name what is not there any more.
    if (stat(path_.c_str(), &followed) != 0 || !are_the_same(status, followed))
        return open_directly(path.c_str());
    if (access(path_.c_str(), W_OK) != 0) fail();
    open_beside(status.st_mode & 07777);
}

OutFile::~OutFile() {
    if (owns_fd_ && fd_ >= 0) close(fd_);
}

// A named pipe opens when its reader does, which a signal need not wait for.
void OutFile::open_directly(const char* path) {
    do
        fd_ = open(path, O_WRONLY | O_CLOEXEC);
    while (fd_ < 0 && errno == EINTR && !interrupted());
    if (fd_ < 0) fail();
}

void OutFile::open_beside(mode_t mode) {
    fd_ = file_.make_beside(path_);
    if (fd_ < 0) fail();
    fchmod(fd_, mode);
}

void OutFile::write(std::span<const uint8_t> bytes) {
    written_ += bytes.size();
    if (pending_.size() + bytes.size() > kPendingSize) flush();
    if (bytes.size() > kPendingSize) return write_now(bytes);
    pending_.insert(pending_.end(), bytes.begin(), bytes.end());
}

void OutFile::flush() {
    write_now(pending_);
    pending_.clear();
}

void OutFile::write_now(std::span<const uint8_t> bytes) {
    const int error = write_all(fd_, bytes, interrupted);
    if (error != 0) fail(error);
}

void OutFile::commit() {
    flush();
    const int fd = std::exchange(fd_, -1);
    if (owns_fd_ && close(fd) != 0) fail();
    if (file_.exists() && !file_.give_name(path_)) fail();
}

}  // namespace zvprobe
