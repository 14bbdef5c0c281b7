// SPDX-License-Identifier: MIT
// Tagged memory: the system's malloc with a record in front of each block. The list of blocks is
// in live_blocks.h, the report in leak_report.cpp.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "zvcommon.h"
#include "zvcommon/live_blocks.h"
#include "zvmem_ext.h"

namespace {

// No object may be larger than what a pointer difference can span.
constexpr size_t kMaxSize = static_cast<size_t>(PTRDIFF_MAX) - sizeof(zvmem::Block);

// Into a text that is all NUL so far.
template <size_t N>
void copy_text(char (&to)[N], const char* from) {
    if (from != nullptr) std::memcpy(to, from, ::strnlen(from, N - 1));
}

// Of a long path the end is kept: it says more than the beginning.
const char* last_part(const char* path) {
    if (path == nullptr) return nullptr;
    const size_t length = std::strlen(path);
    const size_t kept = zvmem::kFileSize - 1;
    return length <= kept ? path : path + (length - kept);
}

}  // namespace

extern "C" {

int zvmem_api_init(int /*reserved*/) {
    return 0;
}

void zvmem_api_deinit(void) {
    zvmem::print_leak_report();
}

void* zvmem_api_malloc(size_t size, const char* tag, const char* sub_tag, const char* file,
                       int line) {
    if (size > kMaxSize) return nullptr;
    void* memory = std::malloc(sizeof(zvmem::Block) + size);
    if (memory == nullptr) return nullptr;
    auto* block = new (memory) zvmem::Block{};
    block->size = size;
    block->line = line;
    copy_text(block->tag, tag);
    copy_text(block->sub_tag, sub_tag);
    copy_text(block->file, last_part(file));
    zvmem::live_blocks().add(block);
    return block + 1;
}

void zvmem_api_free(void* slot) {
    if (slot == nullptr) return;
    void* pointer = nullptr;
    std::memcpy(&pointer, slot, sizeof pointer);
    if (pointer == nullptr) return;
    std::memset(slot, 0, sizeof pointer);
    auto* block = static_cast<zvmem::Block*>(pointer) - 1;
    if (zvmem::live_blocks().remove(block)) {
        std::free(block);
    } else {
        std::fprintf(stderr, "zvmem: %p is not an allocated block, not freed\n", pointer);
    }
}

ZvmemCounters zvmem_ext_live(const char* tag) {
    return zvmem::live_blocks().count(tag);
}

uint64_t zvmem_ext_peakBytes(void) {
    return zvmem::live_blocks().peak_bytes();
}

}  // extern "C"
