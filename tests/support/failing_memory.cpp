// SPDX-License-Identifier: MIT
#include "support/failing_memory.h"

#include <cstdlib>
#include <cstring>

#include "zvcommon.h"

namespace zvtest {
namespace {

struct Memory {
    int fail_at = -1;
    int allocations = 0;
    int live = 0;
    size_t last_size = 0;
    std::string last_tag;
};

Memory& memory() {
    static Memory it;
    return it;
}

}  // namespace

FailingMemory::FailingMemory(int fail_at) {
    memory() = Memory{};
    memory().fail_at = fail_at;
}
FailingMemory::~FailingMemory() {
    memory() = Memory{};
}
int FailingMemory::allocations() const {
    return memory().allocations;
}
int FailingMemory::live() const {
    return memory().live;
}
size_t FailingMemory::last_size() const {
    return memory().last_size;
}
const std::string& FailingMemory::last_tag() const {
    return memory().last_tag;
}

}  // namespace zvtest

using zvtest::memory;

extern "C" {

int zvmem_api_init(int) {
    return 0;
}
void zvmem_api_deinit(void) {}

void* zvmem_api_malloc(size_t size, const char* tag, const char* sub_tag, const char*, int) {
    memory().last_size = size;
    memory().last_tag = std::string(tag ? tag : "") + "|" + (sub_tag ? sub_tag : "");
    if (memory().allocations++ == memory().fail_at) return nullptr;
    memory().live += 1;
    return memset(malloc(size), zvtest::kFreshByte, size);
}

void zvmem_api_free(void* slot) {
    void** pointer = static_cast<void**>(slot);
    if (*pointer == nullptr) return;
    free(*pointer);
    *pointer = nullptr;
    memory().live -= 1;
}

}  // extern "C"
