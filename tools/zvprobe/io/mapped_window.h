// SPDX-License-Identifier: MIT
// A piece of a file in memory that outlives the file's shrinking: pages that are gone, or that the
// disk cannot deliver, read as zero instead of ending the process with SIGBUS.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zvprobe {

// At most one window exists at a time, because it owns the process's SIGBUS handling.
class MappedWindow {
  public:
    MappedWindow() = default;
    ~MappedWindow() { unmap(); }
    MappedWindow(const MappedWindow&) = delete;
    MappedWindow& operator=(const MappedWindow&) = delete;

    // Moves the window to `length` bytes from `offset`, a multiple of the page size.
    // populate: have all pages at once, which is faster when all are looked at
    // -> false, with errno set and an empty window, when that fails
    bool map(int fd, uint64_t offset, size_t length, bool populate);

    // Moves the window to a mapping made elsewhere, which it owns from now on.
    void adopt(std::span<const uint8_t> mapping);

    std::span<const uint8_t> bytes() const { return bytes_; }

    // -> true when a page of the window was replaced by zeroes
    bool damaged() const;

  private:
    void unmap();

    std::span<const uint8_t> bytes_;
};

}  // namespace zvprobe
