// SPDX-License-Identifier: MIT
// Implementation of live_blocks.h: a doubly linked list under one lock, so that adding and removing
// take constant time.

#include "zvcommon/live_blocks.h"

#include <algorithm>
#include <cstring>

namespace zvmem {

namespace {

constexpr uintptr_t kMark = static_cast<uintptr_t>(0x7A766D656D424C4BULL);

constinit LiveBlocks all_blocks;

// The mark differs from block to block, so that a copy of a block's bytes is not taken for a block.
uintptr_t mark_of(const Block* block) {
    return kMark ^ reinterpret_cast<uintptr_t>(block);
}

}  // namespace

LiveBlocks& live_blocks() {
    return all_blocks;
}

void LiveBlocks::add(Block* block) {
    const std::lock_guard guard(mutex_);
    block->mark = mark_of(block);
    block->previous = nullptr;
    block->next = first_;
    if (first_ != nullptr) first_->previous = block;
    first_ = block;
    bytes_ += block->size;
    peak_bytes_ = std::max(peak_bytes_, bytes_);
}

bool LiveBlocks::remove(Block* block) {
    const std::lock_guard guard(mutex_);
    if (block->mark != mark_of(block)) return false;
    block->mark = 0;
    (block->previous != nullptr ? block->previous->next : first_) = block->next;
    if (block->next != nullptr) block->next->previous = block->previous;
    bytes_ -= block->size;
    return true;
}

ZvmemCounters LiveBlocks::count(const char* tag) {
    ZvmemCounters counters{};
    for_each([&](const Block& block) {
        if (tag != nullptr && std::strncmp(block.tag, tag, kTagSize - 1) != 0) return;
        ++counters.blocks;
        counters.bytes += block.size;
    });
    return counters;
}

uint64_t LiveBlocks::peak_bytes() {
    const std::lock_guard guard(mutex_);
    return peak_bytes_;
}

}  // namespace zvmem
