// SPDX-License-Identifier: MIT
#include "support/failing_memory.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "zvcommon.h"

namespace zvtest {
namespace {
constexpr unsigned char kFreshByte = 0xA5;
FailingMemory* living;
}  // namespace

FailingMemory::FailingMemory(int number) : fail_at(number) {
    living = this;
}
FailingMemory::~FailingMemory() {
    living = nullptr;
}

}  // namespace zvtest

using zvtest::living;

extern "C" {

int zvmem_api_init(int) {
    return 0;
}
void zvmem_api_deinit(void) {}

void* zvmem_api_malloc(size_t size, const char* tag, const char* sub_tag, const char*, int) {
    if (living != nullptr) {
        living->last_size = size;
        living->last_tag = std::string(tag ? tag : "") + "|" + (sub_tag ? sub_tag : "");
        if (living->allocations++ == living->fail_at) return nullptr;
        living->live += 1;
    }
    return memset(malloc(size), zvtest::kFreshByte, size);
}

void zvmem_api_free(void* slot) {
    void* const block = std::exchange(*static_cast<void**>(slot), nullptr);
    if (block != nullptr && living != nullptr) living->live -= 1;
    free(block);
}

}  // extern "C"
