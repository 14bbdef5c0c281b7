// SPDX-License-Identifier: MIT
// The resolver's descriptor, and birth and death of a context.
#include <cstdint>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/context.h"
#include "mpeg/mpegts/copy_text.h"
#include "zvcommon.h"

namespace {

constexpr char kAllocationTag[] = "MPEGTSContxt";
constexpr char kAllocationSubTag[] = "resolve-mpegts";

// The registry knows contexts as opaque pointers.
void init_operation(void** slot, const char* name, void* reserved) {
    mpegts_init(reinterpret_cast<MPEGTSContext**>(slot), name, reserved);
}
int parse_operation(void* context, const uint8_t* buf, int len, uint32_t flags) {
    return mpegts_parse(static_cast<MPEGTSContext*>(context), buf, len, flags);
}
int update_operation(void* context, void* info) {
    return mpegts_updateInfo(static_cast<MPEGTSContext*>(context), static_cast<StreamInfo*>(info));
}
void deinit_operation(void** slot) {
    mpegts_deinit(reinterpret_cast<MPEGTSContext**>(slot));
}

}  // namespace

AVParser ffurl_mpegts_parser = {
    "mpegts",         "Use to parse mpegts info", init_operation, parse_operation,
    update_operation, deinit_operation,           nullptr,
};

void mpegts_init(MPEGTSContext** slot, const char* name, void* /*reserved*/) {
    if (slot == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return;
    }
    void* memory = zvmem_api_malloc(sizeof(MPEGTSContext), kAllocationTag, kAllocationSubTag,
                                    __FILE__, __LINE__);
    *slot = static_cast<MPEGTSContext*>(memory);
    if (memory == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "Malloc %s|%s failed,please check the memory", kAllocationTag,
            kAllocationSubTag);
        return;
    }
    memset(memory, 0, sizeof(MPEGTSContext));
    mpegts_innerapi_fillNames();
    if (name != nullptr) zv::copy_text_or_report((*slot)->name, name, SIZE_MAX);
}

void mpegts_deinit(MPEGTSContext** slot) {
    if (slot == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return;
    }
    if (*slot == nullptr) return;
    zvmem_api_free(slot);
    *slot = nullptr;
}
