// SPDX-License-Identifier: MIT
#include "support/counted_new.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace zvtest {

size_t CountedNew::held = 0;
size_t CountedNew::most_held = 0;
long CountedNew::blocks = 0;
long CountedNew::until_failure = -1;
bool CountedNew::failed = false;

namespace {

void* allocate(size_t size, size_t alignment) {
    if (CountedNew::until_failure == 0) {
        CountedNew::failed = true;
        return nullptr;
    }
    if (CountedNew::until_failure > 0) --CountedNew::until_failure;
    void* const block = aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (!block) return nullptr;
    ++CountedNew::blocks;
    CountedNew::held += malloc_usable_size(block);
    CountedNew::most_held = std::max(CountedNew::most_held, CountedNew::held);
    return block;
}

void* allocate_or_throw(size_t size, size_t alignment) {
    if (void* const block = allocate(size, alignment)) return block;
    throw std::bad_alloc();
}

void release(void* block) {
    if (!block) return;
    --CountedNew::blocks;
    CountedNew::held -= malloc_usable_size(block);
    free(block);
}

}  // namespace
}  // namespace zvtest

void* operator new(size_t size) {
    return zvtest::allocate_or_throw(size, alignof(std::max_align_t));
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return zvtest::allocate(size, alignof(std::max_align_t));
}
void* operator new(size_t size, std::align_val_t alignment) {
    return zvtest::allocate_or_throw(size, static_cast<size_t>(alignment));
}
void operator delete(void* block) noexcept {
    zvtest::release(block);
}
void operator delete(void* block, size_t) noexcept {
    zvtest::release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    zvtest::release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    zvtest::release(block);
}
void operator delete(void* block, size_t, std::align_val_t) noexcept {
    zvtest::release(block);
}
