// SPDX-License-Identifier: MIT
// Implementation of window_ahead.h.
#include "io/window_ahead.h"

#include <sys/mman.h>

#include <system_error>

#include "base/interrupt.h"

namespace zvprobe {

void WindowAhead::prepare(int fd, uint64_t offset, size_t length) {
    discard();
    try {
        thread_ = std::thread([this, fd, offset, length] {
            leave_signals_to_others();
            mapping_ = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd,
                            static_cast<off_t>(offset));
        });
    } catch (const std::system_error&) {
        return;  // without a thread the window is mapped when it is wanted
    }
    offset_ = offset;
    length_ = length;
}

std::span<const uint8_t> WindowAhead::take() {
    if (!thread_.joinable()) return {};
    thread_.join();
    const size_t length = length_;
    length_ = 0;
    if (mapping_ == MAP_FAILED) return {};
    return {static_cast<const uint8_t*>(mapping_), length};
}

void WindowAhead::discard() {
    const auto bytes = take();
    if (!bytes.empty()) munmap(const_cast<uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace zvprobe
