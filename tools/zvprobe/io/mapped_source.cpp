// SPDX-License-Identifier: MIT
// Implementation of mapped_source.h. A window begins at the page of the first byte still wanted, so
// kept bytes are simply mapped again.
#include "io/mapped_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zvprobe {
namespace {

constexpr uint64_t kWindowSize = uint64_t{4} << 20;

uint64_t page_size() {
    static const auto size = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    return size;
}

uint64_t page_of(uint64_t offset) {
    return offset - offset % page_size();
}

}  // namespace

std::unique_ptr<MappedSource> MappedSource::open(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw SourceError(std::strerror(errno));
    std::unique_ptr<MappedSource> source(new MappedSource(fd));
    if (!source->window_.map(fd, 0, static_cast<size_t>(page_size()), true)) return nullptr;
    source->size_ = source->current_size();
    return source;
}

MappedSource::~MappedSource() {
    ::close(fd_);
}

uint64_t MappedSource::current_size() const {
    struct stat status {};
    return fstat(fd_, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

std::span<const uint8_t> MappedSource::next(size_t keep) {
    const uint64_t from = window_end_ - keep;
    size_ = current_size();  // it may have grown, or shrunk
    if (size_ <= from) return {};
    if (!map_window(from)) {
        map_error_ = std::strerror(errno);
        return {};
    }
    if (populate_) prepare_next();
    return window_.bytes().subspan(static_cast<size_t>(from - window_begin_));
}

// -> false, with errno set, when that fails
bool MappedSource::map_window(uint64_t from) {
    const uint64_t ahead_end = ahead_.offset() + ahead_.length();
    if (ahead_.offset() <= from && from < ahead_end && ahead_end <= size_) {
        window_begin_ = ahead_.offset();
        window_end_ = ahead_end;
        window_.adopt(ahead_.take());
        if (!window_.bytes().empty()) return true;
    }
    window_begin_ = page_of(from);
    const uint64_t length = std::min(kWindowSize, size_ - window_begin_);
    window_end_ = window_begin_ + length;
    return window_.map(fd_, window_begin_, static_cast<size_t>(length), populate_);
}

// The next window will begin with what is kept of this one, which is not known yet.
void MappedSource::prepare_next() {
    if (window_end_ >= size_) return;
    const uint64_t begin = page_of(window_end_ - std::min<uint64_t>(window_end_, kMaxKept));
    ahead_.prepare(fd_, begin, static_cast<size_t>(std::min(kWindowSize, size_ - begin)));
}

uint64_t MappedSource::skip(uint64_t count) {
    size_ = current_size();
    const uint64_t passed = std::min(count, size_ - std::min(size_, window_end_));
    window_end_ += passed;
    return passed;
}

bool MappedSource::at_end() const {
    return window_end_ >= size_ || !reason().empty();
}

uint64_t MappedSource::position() const {
    return std::min(window_end_, current_size());
}

std::string MappedSource::reason() const {
    if (!map_error_.empty()) return map_error_;
    if (current_size() < window_end_) return "the file became shorter while it was read";
    if (window_.damaged()) return std::strerror(EIO);
    return {};
}

}  // namespace zvprobe
