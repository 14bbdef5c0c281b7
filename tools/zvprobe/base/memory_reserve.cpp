// SPDX-License-Identifier: MIT
// Implementation of memory_reserve.h.
#include "base/memory_reserve.h"

#include <exception>
#include <new>

namespace zvprobe {
namespace {

// Several times the pointers to 8192 PIDs, more than any other list of a report has. Nothing is
// written there, so that it takes no more than addresses.
constexpr size_t kPart = size_t{1} << 20;

thread_local MemoryReserve* of_thread = nullptr;

}  // namespace

MemoryReserve::MemoryReserve() {
    for (auto& part : parts_)
        part.reset(new std::byte[kPart]);
    of_thread = this;
    std::set_new_handler(release);
}

MemoryReserve::~MemoryReserve() {
    of_thread = nullptr;
}

// While an exception is on its way another one would end the process: the request is tried again.
void MemoryReserve::release() {
    MemoryReserve* const reserve = of_thread;
    if (reserve == nullptr || reserve->left_ == 0) throw std::bad_alloc();
    reserve->parts_[--reserve->left_].reset();
    if (reserve->left_ == 0 && std::uncaught_exceptions() == 0) throw std::bad_alloc();
}

}  // namespace zvprobe
