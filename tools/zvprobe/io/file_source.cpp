// SPDX-License-Identifier: MIT
// Implementation of file_source.h.
#include "io/file_source.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/interrupt.h"

namespace zvprobe {
namespace {

// A named pipe opens when its writer does, which a signal need not wait for.
int open_for_reading(const std::string& path) {
    for (;;) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) return fd;
        if (errno != EINTR) throw SourceError(std::strerror(errno));
        if (interrupted()) throw SourceError("interrupted");
    }
}

uint64_t file_size(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

// Files that claim to be empty may still have bytes to read, as below /proc.
bool has_size(int fd, const struct stat& status) {
    char byte;
    return S_ISREG(status.st_mode) && (status.st_size > 0 || pread(fd, &byte, 1, 0) == 0);
}

void wait_for_input(int fd) {
    pollfd entry = {fd, POLLIN, 0};
    poll(&entry, 1, -1);
}

}  // namespace

FileSource::FileSource(const std::string& path) : FileSource(open_for_reading(path), true) {}

FileSource::FileSource(int fd) : FileSource(fd, false) {}

// Standard input is read on from where it stands, once: a file there is no more than a pipe.
FileSource::FileSource(int fd, bool owned) : fd_(fd), owned_(owned) {
    struct stat status {};
    const int error = fstat(fd, &status) != 0 ? errno : S_ISDIR(status.st_mode) ? EISDIR : 0;
    if (error != 0) {
        if (owned) close(fd);
        throw SourceError(std::strerror(error));
    }
    regular_ = owned && has_size(fd, status);
    if (regular_) size_ = static_cast<uint64_t>(status.st_size);
}

FileSource::~FileSource() {
    if (owned_) close(fd_);
}

// The file may have grown since, or shrunk.
void FileSource::note_size() {
    const uint64_t now = file_size(fd_);
    shrunk_ = shrunk_ || now < size_;
    size_ = now;
}

int FileSource::read_once(std::span<uint8_t> room) {
    const ssize_t got = read(fd_, room.data(), room.size());
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        wait_for_input(fd_);
        return -EINTR;
    }
    if (got < 0) return -errno;
    const auto count = static_cast<uint64_t>(got);
    if (regular_ && (count == 0 || position() + count >= size_)) note_size();
    return static_cast<int>(got);
}

uint64_t FileSource::skip(uint64_t count) {
    if (!regular_) return 0;
    note_size();
    const uint64_t passed = std::min(count, size_ - std::min(size_, position()));
    pass(passed);
    lseek(fd_, static_cast<off_t>(position()), SEEK_SET);
    return passed;
}

bool FileSource::at_end() const {
    return ReadSource::at_end() || (regular_ && position() >= size_);
}

std::optional<uint64_t> FileSource::size() const {
    if (regular_) return size_;
    return std::nullopt;
}

// The last look: what was read may not be there any more.
std::string FileSource::reason() const {
    const std::string why = ReadSource::reason();
    const bool shrunk = shrunk_ || (regular_ && file_size(fd_) < size_);
    return why.empty() && shrunk ? "the file became shorter while it was read" : why;
}

}  // namespace zvprobe
