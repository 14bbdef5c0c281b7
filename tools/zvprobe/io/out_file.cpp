// SPDX-License-Identifier: MIT
// Implementation of out_file.h.
#include "io/out_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/interrupt.h"

namespace zvprobe {
namespace {

constexpr size_t kPendingSize = size_t{256} << 10;

[[noreturn]] void fail() {
    throw OutputError(std::strerror(errno));
}

// A link stays a link: what it leads to is written.
std::string follow_links(const std::string& path) {
    char* const real = realpath(path.c_str(), nullptr);
    if (real == nullptr) return path;  // there is no such file yet
    std::string out(real);
    std::free(real);
    return out;
}

mode_t mode_of_new_files() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

bool is_standard_output(const std::string& path) {
    return path == "-" || path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

OutFile::OutFile(const std::string& path) : path_(follow_links(path)) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error like others
    struct stat status {};
    if (is_standard_output(path)) {
        fd_ = STDOUT_FILENO;
        owns_fd_ = false;
    } else if (stat(path_.c_str(), &status) != 0) {
        open_beside(path_);
        fchmod(fd_, mode_of_new_files());
    } else if (S_ISREG(status.st_mode)) {
        if (access(path_.c_str(), W_OK) != 0) fail();
        open_beside(path_);
        fchmod(fd_, status.st_mode & 07777);
    } else {
        fd_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd_ < 0) fail();
    }
    pending_.reserve(kPendingSize);
}

OutFile::~OutFile() {
    if (owns_fd_ && fd_ >= 0) close(fd_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutFile::open_beside(const std::string& path) {
    std::string name = path + ".XXXXXX";
    fd_ = mkostemp(name.data(), O_CLOEXEC);
    if (fd_ < 0) fail();
    temporary_ = name;
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
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd_, bytes.data(), bytes.size());
        if (count < 0 && (errno != EINTR || interrupted())) fail();
        if (count > 0) bytes = bytes.subspan(static_cast<size_t>(count));
        // A signal may also show as a write that stopped short: the next would block again.
        if (!bytes.empty() && interrupted()) {
            errno = EINTR;
            fail();
        }
    }
}

void OutFile::commit() {
    flush();
    const int fd = std::exchange(fd_, -1);
    if (owns_fd_ && close(fd) != 0) fail();
    if (temporary_.empty()) return;
    if (rename(temporary_.c_str(), path_.c_str()) != 0) fail();
    temporary_.clear();
}

}  // namespace zvprobe
