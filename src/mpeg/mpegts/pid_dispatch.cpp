// SPDX-License-Identifier: MIT
// Derives the meaning of each PID from the programme table, and notices when the table has changed.
#include "mpeg/mpegts/pid_dispatch.h"

#include <cstring>

#include "mpeg/mpegts/program_view.h"

namespace zv {
namespace {

static_assert(1 + kMaxPrograms * kMaxStreams < kPidIgnored);

// A digest of everything that the entries are derived from, never 0. A sum of products with odd
// factors: any single change shows, and no product waits for the one before.
uint64_t stamp_of_tables(MPEGTSContext& ctx) {
    constexpr uint64_t kStep = 0x9E3779B97F4A7C15ULL;
    uint64_t factor = kStep | 1;
    uint64_t stamp = ctx.totalnum_program;
    for (MPEGTSProgram& program : programs(ctx)) {
        uint64_t pids = 0;
        for (const MPEGTSStream& stream : streams(program))
            pids = (pids << 16) | stream.pid;
        const auto es_count = static_cast<uint8_t>(program.es_count);
        stamp +=
            pids * factor + ((uint64_t{program.pmt_pid} << 8) | es_count) * (factor ^ kStep << 1);
        factor += 2 * kStep;
    }
    return stamp | 1ULL << 63;
}

void derive(MPEGTSContext& ctx) {
    uint8_t* entry = ctx.dispatch.entry;
    memset(entry, kPidUnclaimed, sizeof ctx.dispatch.entry);
    entry[kPidPat] = kPidHasTable;
    entry[kPidSdt] = kPidHasTable;
    for (const MPEGTSProgram& program : programs(ctx)) {
        if (zvsi_api_isValidPid(program.pmt_pid)) entry[program.pmt_pid] = kPidHasTable;
    }
    uint8_t number = 1;
    for (MPEGTSProgram& program : programs(ctx)) {
        uint8_t next = number;
        for (const MPEGTSStream& stream : streams(program)) {
            // The first stream of a PID owns it.
            if (stream.pid < kPidCount && entry[stream.pid] == kPidUnclaimed)
                entry[stream.pid] = next;
            ++next;
        }
        number = static_cast<uint8_t>(number + kMaxStreams);
    }
    entry[kPidNull] = kPidIgnored;
}

bool every_packet_is_watched() {
    return DBG_COMMON || DBG_TSHEAD_MODE || DBG_CC || DBG_AV;
}

}  // namespace

const uint8_t* ready_dispatch(MPEGTSContext& ctx) {
    if (!ctx.is_getAllInfo || ctx.btc_es == nullptr || every_packet_is_watched()) return nullptr;
    const uint64_t stamp = stamp_of_tables(ctx);
    if (ctx.dispatch.tables_stamp != stamp) {
        derive(ctx);
        ctx.dispatch.tables_stamp = stamp;
    }
    return ctx.dispatch.entry;
}

}  // namespace zv
