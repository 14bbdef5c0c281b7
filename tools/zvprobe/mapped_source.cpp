// SPDX-License-Identifier: MIT
// Implementation of mapped_source.h. A window begins at the page of the first byte still wanted, so
// kept bytes are simply mapped again.
#include "mapped_source.h"

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
    const uint64_t map_from = from - from % page_size();
    size_ = current_size();  // it may have grown, or shrunk
    if (size_ <= from) return {};
    const uint64_t length = std::min(kWindowSize, size_ - map_from);
    if (!window_.map(fd_, map_from, static_cast<size_t>(length), populate_)) {
        map_error_ = std::strerror(errno);
        return {};
    }
    window_end_ = map_from + length;
    return window_.bytes().subspan(static_cast<size_t>(from - map_from));
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
