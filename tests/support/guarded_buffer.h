// SPDX-License-Identifier: MIT
// Memory that ends at an unreadable page: reading one byte too many ends the test.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <span>

namespace zvtest {

class GuardedBuffer {
  public:
    explicit GuardedBuffer(size_t capacity) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        usable_ = (capacity + page - 1) / page * page;
        mapped_ = usable_ + page;
        void* memory =
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        base_ = static_cast<uint8_t*>(memory);
        if (mprotect(base_ + usable_, page, PROT_NONE) != 0) throw std::bad_alloc();
    }
    explicit GuardedBuffer(std::span<const uint8_t> bytes) : GuardedBuffer(bytes.size()) {
        place(bytes);
    }
    ~GuardedBuffer() { munmap(base_, mapped_); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    // Copies the bytes so that the last one is the last readable. -> where the first one is
    uint8_t* place(std::span<const uint8_t> bytes) {
        data_ = base_ + usable_ - bytes.size();
        if (!bytes.empty()) memcpy(data_, bytes.data(), bytes.size());
        return data_;
    }
    uint8_t* data() { return data_; }

  private:
    uint8_t* base_ = nullptr;
    uint8_t* data_ = nullptr;
    size_t usable_ = 0;
    size_t mapped_ = 0;
};

}  // namespace zvtest
