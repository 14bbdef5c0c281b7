// SPDX-License-Identifier: MIT
// The process-wide, append-only list of resolvers. What a resolver does is left to its module.
#include "bitStream/registry.h"

#include <cstddef>
#include <cstring>

#include "bitStream/log.h"
#include "zvcommon.h"

extern "C" {
AVParser* first_parser = nullptr;
}

namespace {

#ifdef __LP64__
static_assert(sizeof(AVParser) == 56 && offsetof(AVParser, next) == 48);  // hosts make their own
#endif

constexpr int kDescriptorSize = static_cast<int>(sizeof(AVParser));

// A descriptor shorter than ours comes from a host built against an older header: keep what it has.
AVParser* copy_short_descriptor(const AVParser* desc, int size) {
    void* copy = zvmem_api_malloc(sizeof(AVParser), "AVParser", nullptr, __FILE__, __LINE__);
    if (copy == nullptr) return nullptr;
    memset(copy, 0, sizeof(AVParser));
    if (size > 0) memcpy(copy, static_cast<const void*>(desc), static_cast<size_t>(size));
    return static_cast<AVParser*>(copy);
}

}  // namespace

int ffurl_register_resolver(AVParser* desc, int size) {
    if (desc == nullptr) return 0;
    AVParser* added = size < kDescriptorSize ? copy_short_descriptor(desc, size) : desc;
    if (added == nullptr) return 0;

    AVParser** link = &first_parser;
    while (*link != nullptr)
        link = &(*link)->next;
    *link = added;
    // Registering one object twice cuts the list after it; hosts rely on it.
    added->next = nullptr;
    return 0;
}

AVParser* ffurl_match_resolver(const char* name) {
    if (name == nullptr) {
        LOG(zv::kLogError, "bitStream", "Param error");
        return nullptr;
    }
    for (AVParser* parser = first_parser; parser != nullptr; parser = parser->next) {
        if (parser->name != nullptr && strcmp(name, parser->name) == 0) return parser;
    }
    return nullptr;
}

void bitStream_register_parser(void) {
    LOG(zv::kLogVerbose, "bitStream", "===RESOLVER *  Table===");
    ffurl_register_resolver(&ffurl_mpegts_parser, kDescriptorSize);
    LOG(zv::kLogVerbose, "bitStream", "*  %s", ffurl_mpegts_parser.name);
    // FLV and MPEG audio have entry points of their own and are listed only.
    LOG(zv::kLogVerbose, "bitStream", "*  flvparser");
    LOG(zv::kLogVerbose, "bitStream", "*  mp3parser");
    LOG(zv::kLogVerbose, "bitStream", "=========================");
}
