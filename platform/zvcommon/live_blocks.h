// SPDX-License-Identifier: MIT
// The record in front of every allocated block, and the list of all of them. Allocating and freeing
// is left to memory.cpp; leak_report.cpp prints what is left at the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "zvmem_ext.h"

namespace zvmem {

constexpr size_t kTagSize = 24;
constexpr size_t kFileSize = 36;

// The texts are copies: a report at the end of the process may outlive the module that a tag came
// from. The alignment keeps that of the block after the record.
struct alignas(std::max_align_t) Block {
    Block* previous;
    Block* next;
    size_t size;
    uintptr_t mark;  // tells our blocks from foreign ones
    char tag[kTagSize];
    char sub_tag[kTagSize];
    char file[kFileSize];
    int line;
};
static_assert(sizeof(Block) % alignof(std::max_align_t) == 0);

class LiveBlocks {
  public:
    void add(Block* block);
    // False, with nothing done, when the block is not one of ours.
    bool remove(Block* block);

    ZvmemCounters count(const char* tag);
    uint64_t peak_bytes();

    // Calls visit(const Block&) for each live block, newest first, under the lock.
    template <typename Visit>
    void for_each(Visit visit) {
        const std::lock_guard guard(mutex_);
        for (const Block* block = first_; block != nullptr; block = block->next)
            visit(*block);
    }

  private:
    std::mutex mutex_;
    Block* first_ = nullptr;
    uint64_t bytes_ = 0;
    uint64_t peak_bytes_ = 0;
};

// All blocks of the process.
LiveBlocks& live_blocks();

// Prints on stderr one line in all and one per place of allocation; nothing when no block lives.
void print_leak_report();

}  // namespace zvmem
