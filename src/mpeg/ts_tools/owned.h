// SPDX-License-Identifier: MIT
// One object in the host's memory: the tools' working state is too large for a thread's stack.
#pragma once

#include <new>

#include "bitStream/log.h"
#include "zvcommon.h"

namespace zv {

// Empty when memory was short, which is logged.
template <typename T>
class Owned {
  public:
    explicit Owned(const char* tag) {
        memory_ = zvmem_api_malloc(sizeof(T), tag, kSubTag, __FILE__, __LINE__);
        if (memory_ != nullptr)
            object_ = new (memory_) T;
        else
            LOG(kLogError, "MPEGTS", "Malloc %s|%s failed,please check the memory", tag, kSubTag);
    }
    ~Owned() {
        if (object_ != nullptr) object_->~T();
        if (memory_ != nullptr) zvmem_api_free(&memory_);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    explicit operator bool() const { return object_ != nullptr; }
    T* get() { return object_; }
    T* operator->() { return object_; }
    T& operator*() { return *object_; }

  private:
    static constexpr char kSubTag[] = "ts_tools";

    void* memory_ = nullptr;
    T* object_ = nullptr;
};

}  // namespace zv
