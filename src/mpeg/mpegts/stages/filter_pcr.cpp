// SPDX-License-Identifier: MIT
// Programme clock references: latest value and arrival period of each programme, and pacing by the
// first programme's clock.
#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"

namespace {

constexpr int kFlagsByte = 5;  // of the adaptation field, within the packet
constexpr int64_t kTicksPerMicrosecond = 27;

void count_unclaimed_pcr(MPEGTSContext& ctx) {
    if (MPEGTSStream* es = mpegts_innerapi_findEs(&ctx, nullptr, nullptr)) es->numPcr_noInPmt += 1;
}

}  // namespace

void zv::take_pcr(MPEGTSContext& ctx, MPEGTSProgram& program, const uint8_t* pkt, uint8_t flags) {
    LOG_IF(DBG_PCR, zv::kLogDebug, "MPEGTS", "[%.256s-Pid%d]pcr_flag:%d", ctx.name, ctx.ts_head.pid,
           1);
    program.last_pcr = static_cast<int64_t>(zvsi_api_getPcr(pkt + kFlagsByte));
    if ((flags & ZV_TS_PACE_PCR) && ctx.ts_head.pid == ctx.program[0].pcr_pid) {
        // The clock that paces is kept in microseconds, every other one in ticks: hosts tell them
        // apart by the option they set.
        program.last_pcr /= kTicksPerMicrosecond;
        mpegts_api_rateEmuLong(ctx.name, "pcr", &ctx.rate_pcr, program.last_pcr, 1);
    }
    mpegts_innerapi_getPeriod(&program.pcr_period);
    ctx.is_update = 1;
}

int8_t mpegts_innerapi_filterPcr(MPEGTSContext* ctx, uint8_t* pkt, uint8_t flags,
                                 uint16_t remapPid) {
    if (ctx == nullptr || pkt == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return 0;
    }
    const int is_pcr = zvsi_api_isPcrData(ctx->ts_head, pkt + zv::kTsHeaderSize);
    if (is_pcr != 1) return static_cast<int8_t>(is_pcr);

    if (MPEGTSProgram* program = mpegts_innerapi_findPmt_byPCRPid(ctx))
        zv::take_pcr(*ctx, *program, pkt, flags);
    else
        count_unclaimed_pcr(*ctx);
    if ((flags & ZV_TS_REMAP) && zvsi_api_isValidPid(remapPid))
        zvsi_api_tsHeaderRemap(remapPid, pkt);
    return 1;
}
