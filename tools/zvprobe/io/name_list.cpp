// SPDX-License-Identifier: MIT
// Implementation of name_list.h.
#include "io/name_list.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/interrupt.h"
#include "io/source.h"

namespace zvprobe {
namespace {

constexpr size_t kReadSize = size_t{64} << 10;
// The reader may be told to end by a flag, which wakes no poll.
constexpr int kPatience_ms = 200;

int open_list(const std::string& path) {
    if (path == "-") return STDIN_FILENO;
    for (;;) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) return fd;
        if (errno != EINTR) throw SourceError(std::strerror(errno));
        if (interrupted()) throw SourceError("interrupted");
    }
}

}  // namespace

NameList::NameList(const std::string& path, char separator)
    : fd_(open_list(path)),
      owned_(fd_ != STDIN_FILENO),
      separator_(separator),
      buffer_(kReadSize) {}

NameList::~NameList() {
    if (owned_) close(fd_);
}

std::optional<std::string> NameList::next() {
    while (!over_) {
        if (begin_ == end_ && !fill()) break;
        const bool whole = take_piece();
        if (name_.size() > kLongestName) fail("a name is longer than any path");
        // A path ends there for the system, and another file might be taken for it.
        if (name_.find('\0') != name_.npos) fail("a name has a NUL in it; lists of these need -0");
        if (whole && !over_ && !name_.empty()) return std::exchange(name_, {});
    }
    // The last name may lack its separator.
    if (name_.empty() || !error_.empty() || interrupted()) return std::nullopt;
    return std::exchange(name_, {});
}

// -> true when the name is whole
bool NameList::take_piece() {
    const char* const from = buffer_.data() + begin_;
    const char* const to = buffer_.data() + end_;
    const char* const stop = std::find(from, to, separator_);
    name_.append(from, stop);
    const size_t taken = static_cast<size_t>(stop - from) + (stop == to ? 0 : 1);
    begin_ += taken;
    position_ += taken;
    return stop != to;
}

// -> false when nothing came, and nothing will
bool NameList::fill() {
    begin_ = end_ = 0;
    while (!interrupted()) {
        if (!wait_for_input()) continue;
        const ssize_t got = read(fd_, buffer_.data(), buffer_.size());
        if (got > 0) {
            end_ = static_cast<size_t>(got);
            return true;
        }
        if (got == 0) break;
        if (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK) continue;
        fail(std::strerror(errno));
        break;
    }
    over_ = true;
    return false;
}

bool NameList::wait_for_input() const {
    pollfd entry = {fd_, POLLIN, 0};
    const int ready = poll(&entry, 1, kPatience_ms);
    return ready > 0 || (ready < 0 && errno != EINTR);
}

void NameList::fail(const std::string& why) {
    if (!over_) error_ = "byte " + std::to_string(position_) + ": the list ends here: " + why;
    over_ = true;
}

}  // namespace zvprobe
