// SPDX-License-Identifier: MIT
// Derives the meaning of each PID from the programme table, and notices when the table has changed.
#include "mpeg/mpegts/pid_dispatch.h"

#include <cstring>

#include "mpeg/mpegts/program_view.h"

namespace zv {
namespace {

static_assert(kPidUnclaimed == 0);  // cleared entries
static_assert(offsetof(MPEGTSContext, program) / kPlaceUnit > kPidShared);
static_assert(sizeof(MPEGTSContext) / kPlaceUnit <= UINT16_MAX);

// A digest of everything that the entries are derived from, never 0. A sum of products with odd
// factors: any single change shows, and no product waits for the one before.
uint64_t stamp_of_tables(const MPEGTSContext& ctx) {
    constexpr uint64_t kStep = 0x9E3779B97F4A7C15ULL;
    static_assert(kMaxStreams == 4);
    uint64_t factor = kStep;
    uint64_t stamp = ctx.totalnum_program;
    for (const MPEGTSProgram& program : programs(ctx)) {
        const MPEGTSStream* stream = program.streams;
        const uint64_t pids = stream[0].pid | uint64_t{stream[1].pid} << 16 |
                              uint64_t{stream[2].pid} << 32 | uint64_t{stream[3].pid} << 48;
        const uint64_t table = program.pmt_pid | uint64_t{static_cast<uint8_t>(program.es_count)}
                                                     << 16;
        stamp += pids * factor + table * (factor ^ 2);
        factor += 2 * kStep;
    }
    return stamp | 1ULL << 63;
}

uint16_t place_of(const MPEGTSContext& ctx, const MPEGTSStream& stream) {
    const auto bytes = reinterpret_cast<const char*>(&stream) - reinterpret_cast<const char*>(&ctx);
    return static_cast<uint16_t>(static_cast<size_t>(bytes) / kPlaceUnit);
}

// The first stream of a PID owns it.
void claim_for_stream(uint16_t& entry, uint16_t place) {
    if (entry == kPidUnclaimed)
        entry = place;
    else if (entry == kPidHasTable)
        entry = kPidShared;
}

void derive(MPEGTSContext& ctx) {
    uint16_t* entry = ctx.dispatch.entry;
    memset(entry, 0, sizeof ctx.dispatch.entry);
    entry[kPidPat] = kPidHasTable;
    entry[kPidSdt] = kPidHasTable;
    for (const MPEGTSProgram& program : programs(ctx)) {
        if (zvsi_api_isValidPid(program.pmt_pid)) entry[program.pmt_pid] = kPidHasTable;
    }
    for (MPEGTSProgram& program : programs(ctx)) {
        for (const MPEGTSStream& stream : streams(program)) {
            if (stream.pid < kPidCount) claim_for_stream(entry[stream.pid], place_of(ctx, stream));
        }
    }
    ctx.dispatch.ignored.pid = kPidNull;
    entry[kPidNull] = place_of(ctx, ctx.dispatch.ignored) | kHasNoOrder;
}

bool every_packet_is_watched() {
    return DBG_COMMON || DBG_TSHEAD_MODE || DBG_CC || DBG_AV;
}

}  // namespace

const uint16_t* PidClaims::ready_entries() {
    if (!ctx_.is_getAllInfo || ctx_.btc_es == nullptr || every_packet_is_watched()) return nullptr;
    if (ctx_.dispatch.tables_stamp == 0) compare();
    return ctx_.dispatch.entry;
}

void PidClaims::compare() {
    compared_ = true;
    const uint64_t stamp = stamp_of_tables(ctx_);
    if (ctx_.dispatch.tables_stamp == stamp) return;
    derive(ctx_);
    ctx_.dispatch.tables_stamp = stamp;
}

}  // namespace zv
