// SPDX-License-Identifier: MIT
// Defines every function of zvprotocol.h, so that nothing is taken from the real library.
#include "support/memory_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "zvprotocol.h"

namespace zvtest {
namespace {

MemorySource* living;

const ZvptcHandler handler = {
    "file",
    [](ZvptcUrlContext*) { return living->start(); },
    [](ZvptcUrlContext*, uint8_t* buffer, int size) { return living->read(buffer, size); },
    [](ZvptcUrlContext*, const uint8_t*, int) { return -EBADF; },
    [](ZvptcUrlContext*) { return living->open -= 1, 0; },
    ZVPTC_INDEX_FILE};

}  // namespace

MemorySource::MemorySource(Bytes content) : bytes_(std::move(content)) {
    living = this;
}
MemorySource::~MemorySource() {
    living = nullptr;
}

void MemorySource::fail_read(int number, ReadFault what) {
    reads_ = 0;
    fail_at_ = number;
    fault_ = what;
    failed = false;
}

int MemorySource::start() {
    if (refuses) return -EACCES;
    open += 1;
    at_ = 0;
    broken_ = false;
    return 0;
}

int MemorySource::read(uint8_t* buffer, int size) {
    auto count = static_cast<size_t>(size);
    if (reads_++ == fail_at_) {
        failed = true;
        broken_ = fault_ != ReadFault::kShort;
        if (!broken_) count = std::max<size_t>(1, count / 3);
    }
    if (broken_) {
        return fault_ == ReadFault::kFails ? -EIO : fault_ == ReadFault::kInterrupted ? -EINTR : 0;
    }
    count = std::min(count, bytes_.size() - at_);
    std::copy_n(bytes_.data() + at_, count, buffer);
    at_ += count;
    return static_cast<int>(count);
}

}  // namespace zvtest

using zvtest::handler;

extern "C" {

int zvptc_api_init(void) {
    return 0;
}
int zvptc_api_register(void) {
    return 0;
}
void zvptc_api_deinit(void) {}
const ZvptcHandler* zvptc_api_matchByName(const char*) {
    return &handler;
}
const ZvptcHandler* zvptc_api_matchByPtcindex(int) {
    return &handler;
}
int zvptc_api_matchByUrlAndIndex(const char*, int index) {
    return index == handler.ptc_index;
}
int zvptc_api_getPtcindex(const char*, int, uint8_t) {
    return handler.ptc_index;
}
int zvptc_api_urlSplit_urlctt(ZvptcUrlContext* context) {
    strcpy(context->protocol, handler.name);
    return 0;
}
int zvptc_api_urlSplit_urlinfo(ZvptcUrlInfo* info, const char*) {
    strcpy(info->scheme, handler.name);
    return 0;
}

}  // extern "C"
