// SPDX-License-Identifier: MIT
// Derives the meaning of each PID from the programme table.
#include "mpeg/mpegts/pid_dispatch.h"

#include <algorithm>

#include "mpeg/mpegts/program_view.h"

namespace zv {
namespace {

static_assert(offsetof(MPEGTSContext, program) / kPlaceUnit > kPidShared);
static_assert(sizeof(MPEGTSContext) / kPlaceUnit < kIsPmt);

template <typename Record>
uint16_t place_of(const MPEGTSContext& ctx, const Record& record) {
    static_assert(alignof(Record) == 2 * kPlaceUnit);
    const auto bytes = reinterpret_cast<const char*>(&record) - reinterpret_cast<const char*>(&ctx);
    return static_cast<uint16_t>(static_cast<size_t>(bytes) / kPlaceUnit);
}

void claim_for_tables(MPEGTSContext& ctx) {
    uint16_t* entry = ctx.dispatch.entry;
    entry[kPidPat] = kPidHasTable;
    entry[kPidSdt] = kPidHasTable;
    for (const MPEGTSProgram& program : programs(ctx)) {
        const uint16_t pid = program.pmt_pid;
        if (zvsi_api_isValidPid(pid) && !(entry[pid] & kIsPmt))
            entry[pid] = place_of(ctx, program) | kIsPmt;
    }
}

// The first stream of a PID owns it.
void claim_for_streams(MPEGTSContext& ctx, uint16_t unclaimed) {
    for (MPEGTSProgram& program : programs(ctx)) {
        for (const MPEGTSStream& stream : streams(program)) {
            if (stream.pid >= kPidNull) continue;
            uint16_t& entry = ctx.dispatch.entry[stream.pid];
            if (entry == unclaimed)
                entry = place_of(ctx, stream);
            else if (!is_stream_entry(entry))
                entry = kPidShared;
        }
    }
}

void derive(MPEGTSContext& ctx) {
    const uint16_t unclaimed = place_of(ctx, ctx.dispatch.ignored) | kHasNoOrder;
    std::ranges::fill(ctx.dispatch.entry, unclaimed);
    claim_for_tables(ctx);
    claim_for_streams(ctx, unclaimed);
    std::ranges::fill(ctx.dispatch.pcr_pid, uint16_t{0});
    std::ranges::transform(programs(ctx), ctx.dispatch.pcr_pid, [](const MPEGTSProgram& program) {
        return zvsi_api_isValidPid(program.pcr_pid) ? program.pcr_pid : uint16_t{0};
    });
    ctx.dispatch.is_derived = 1;
}

bool every_packet_is_watched() {
    return DBG_COMMON || DBG_TSHEAD_MODE || DBG_CC || DBG_AV || DBG_PES || DBG_PES_PTSDTS;
}

}  // namespace

bool make_dispatch_ready(MPEGTSContext& ctx) {
    if (!ctx.is_getAllInfo || ctx.btc_es == nullptr || every_packet_is_watched()) return false;
    if (!ctx.dispatch.is_derived) derive(ctx);
    return true;
}

}  // namespace zv
