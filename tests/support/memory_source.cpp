// SPDX-License-Identifier: MIT
// Defines every function of zvprotocol.h, so that nothing is taken from the real library.
#include "support/memory_source.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zvprotocol.h"

namespace zvtest {
namespace {

struct Source {
    Bytes bytes;
    int index = 0;
    size_t at = 0;
    int reads = 0;
    int fail_at = -1;
    ReadFault fault = ReadFault::kNone;
    bool broken = false;
    bool failed = false;
    bool refuses = false;
    int open = 0;
};

Source source;

int open_source(ZvptcUrlContext*) {
    if (source.refuses) return -EACCES;
    source.open += 1;
    source.at = 0;
    source.broken = false;
    return 0;
}

int fault_now(int& size) {
    if (source.reads++ == source.fail_at) {
        source.failed = true;
        if (source.fault == ReadFault::kShort)
            size = std::max(1, size / 3);
        else
            source.broken = true;
    }
    if (!source.broken || source.fault == ReadFault::kEnds) return 0;
    return source.fault == ReadFault::kFails ? -EIO : -EINTR;
}

int read_source(ZvptcUrlContext*, uint8_t* buffer, int size) {
    const int error = fault_now(size);
    if (error < 0 || source.broken) return error;
    const size_t count = std::min(static_cast<size_t>(size), source.bytes.size() - source.at);
    std::copy_n(source.bytes.data() + source.at, count, buffer);
    source.at += count;
    return static_cast<int>(count);
}

int write_source(ZvptcUrlContext*, const uint8_t*, int) {
    return -EBADF;
}

int close_source(ZvptcUrlContext*) {
    source.open -= 1;
    return 0;
}

const ZvptcHandler handler = {"file",       open_source,  read_source,
                              write_source, close_source, ZVPTC_INDEX_FILE};

}  // namespace

MemorySource::MemorySource(const Bytes& bytes, int index) {
    source = Source{};
    source.bytes = bytes;
    source.index = index;
}
MemorySource::~MemorySource() {
    source = Source{};
}
void MemorySource::fail_read(int number, ReadFault fault) {
    source.reads = 0;
    source.fail_at = number;
    source.fault = fault;
    source.failed = false;
}
void MemorySource::refuse_to_open(bool refuse) {
    source.refuses = refuse;
}
bool MemorySource::has_failed() const {
    return source.failed;
}
int MemorySource::open_sources() const {
    return source.open;
}

}  // namespace zvtest

using zvtest::handler;
using zvtest::source;

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
    return index == source.index;
}
int zvptc_api_getPtcindex(const char*, int, uint8_t) {
    return source.index;
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
