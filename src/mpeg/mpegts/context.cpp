// SPDX-License-Identifier: MIT
// The analyser's memory: the layout that hosts rely on, the debug switches, how a context is made and
// freed, and the resolver's descriptor.
#include "mpeg/mpegts/context.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/copy_text.h"
#include "zvcommon.h"

// The memory layout of public records, pinned for 64-bit targets.
#ifdef __LP64__
static_assert(sizeof(CCState) == 12 && offsetof(CCState, errnum) == 4);
static_assert(sizeof(Period) == 24);
static_assert(sizeof(RateEmu) == 24 && offsetof(RateEmu, numOutOfRange) == 16);
static_assert(sizeof(PesTiming) == 48 && offsetof(PesTiming, lastPts_us) == 24);
static_assert(sizeof(MPEGTSStream) == 280);
static_assert(offsetof(MPEGTSStream, pid) == 8 && offsetof(MPEGTSStream, es_info) == 14);
static_assert(offsetof(MPEGTSStream, kind) == 144 && offsetof(MPEGTSStream, cc_state) == 212);
static_assert(offsetof(MPEGTSStream, timing) == 232);
static_assert(sizeof(StreamInfoEs) == 624);
static_assert(offsetof(StreamInfoEs, kind) == 136 && offsetof(StreamInfoEs, cc_state) == 204);
static_assert(offsetof(StreamInfoEs, sample_rate) == 220);
static_assert(offsetof(StreamInfoEs, frame_rate) == 360);
static_assert(sizeof(StreamInfoProgram) == 3496);
static_assert(offsetof(StreamInfoProgram, service_type) == 7);
static_assert(offsetof(StreamInfoProgram, streams) == 776);
static_assert(offsetof(StreamInfoProgram, pmt_packet) == 3288);
static_assert(sizeof(StreamInfo) == 105376);
static_assert(offsetof(StreamInfo, programs) == 264);
static_assert(offsetof(StreamInfo, report_program_count) == 105144);
static_assert(offsetof(StreamInfo, packet) == 105168);
static_assert(sizeof(RemapTarget) == 14 && offsetof(RemapTarget, pid_es) == 6);
#endif

// As they stand when the library is loaded.
uint8_t DBG_PAT = 1;
uint8_t DBG_SDT = 1;
uint8_t DBG_PMT = 1;
uint8_t DBG_TSHEAD_MODE = 0;
uint8_t DBG_PESHEAD = 0;
uint8_t DBG_COMMON = 0;
uint8_t DBG_PCR = 0;
uint8_t DBG_CC = 0;
uint8_t DBG_AV = 0;
uint8_t DBG_PES = 0;
uint8_t DBG_PES_PTSDTS = 0;
uint8_t DBG_FIND_INFO = 0;

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
