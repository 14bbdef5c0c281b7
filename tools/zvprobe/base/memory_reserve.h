// SPDX-License-Identifier: MIT
// Memory set aside for the way out when there is no more. Giving a JSON value back takes a little
// memory, and where there is none the process would end instead of the work that asked for too much.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

namespace zvprobe {

// One a thread at a time, for the work that is done while it lives. Each request of the thread that
// cannot be met has a part of it released and is tried again, for it may be one that must not fail.
// The one that gets the last part fails all the same, and what it leaves is for the way out.
class MemoryReserve {
  public:
    MemoryReserve();
    ~MemoryReserve();
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;

  private:
    static void release();

    static constexpr size_t kParts = 4;

    std::array<std::unique_ptr<std::byte[]>, kParts> parts_;
    size_t left_ = kParts;
};

}  // namespace zvprobe
