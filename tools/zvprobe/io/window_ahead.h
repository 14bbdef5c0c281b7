// SPDX-License-Identifier: MIT
// The next piece of a file, mapped by a thread of its own while the present one is looked at:
// mapping a piece takes nearly as long as looking at its packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <thread>

namespace zvprobe {

class WindowAhead {
  public:
    WindowAhead() = default;
    ~WindowAhead() { discard(); }
    WindowAhead(const WindowAhead&) = delete;
    WindowAhead& operator=(const WindowAhead&) = delete;

    // Begins to map `length` bytes from `offset`, a multiple of the page size. What was prepared
    // before is discarded.
    void prepare(int fd, uint64_t offset, size_t length);

    // The place that is being prepared; nothing is when the length is 0.
    uint64_t offset() const { return offset_; }
    size_t length() const { return length_; }

    // -> the mapping, from now on the caller's to unmap; empty when there is none
    std::span<const uint8_t> take();

  private:
    void discard();

    std::thread thread_;
    uint64_t offset_ = 0;
    size_t length_ = 0;
    void* mapping_ = nullptr;  // the thread's, until it is joined
};

}  // namespace zvprobe
