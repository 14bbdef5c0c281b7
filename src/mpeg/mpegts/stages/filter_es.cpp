// SPDX-License-Identifier: MIT
// Packets of the elementary streams: continuity, PES timing, remapping.
#include <cstdlib>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/stages/continuity.h"

namespace {

constexpr uint16_t kStudiedPid = 0x202;
constexpr uint8_t kModeWithAlternative = 1;

// A debugging aid for one stream under study: with DBG_CC on, packets on PID 0x202 are dumped, and
// the first discontinuity ends the process. DBG_CC is 0 and no function that a host can call sets it.
void dump_or_exit(const MPEGTSContext& ctx, const uint8_t* pkt, int check) {
    if (!DBG_CC || ctx.ts_head.pid != kStudiedPid) return;
    zvsi_api_tsHeaderPrint(&ctx.ts_head, 1);
    zvlog_innerapi_bufHex("table_buf", pkt + zv::kTsHeaderSize, zv::kTsBodySize, __func__,
                          __LINE__);
    if (check < 0) exit(1);
}

// A packet with a PCR is not checked: its counter becomes a second acceptable predecessor.
void check_stream_continuity(const MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* pkt,
                             int8_t is_pcr) {
    CCState& state = es.cc_state;
    if (is_pcr == 1) {
        state.alt_cc = ctx.ts_head.continuity_counter;
        if (DBG_AV)
            LOG(zv::kLogDebug, "MPEGTS", "[%s]cc:0x%02x,is_pcr:%d",
                zv::StreamLabel(ctx, es.type_name).text, state.alt_cc, is_pcr);
        return;
    }
    const int check = zv::check_continuity(ctx, state, es.type_name, kModeWithAlternative);
    dump_or_exit(ctx, pkt, check);
    zv::dump_continuity(ctx, state, es.type_name);
}

}  // namespace

void zv::take_stream_packet(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* pkt, uint8_t flags,
                            int8_t is_pcr) {
    if (flags & ZV_TS_CHECK_CC) check_stream_continuity(ctx, es, pkt, is_pcr);
    const bool paces = (flags & ZV_TS_PACE_PES) && &es == ctx.btc_es;
    if (paces || (flags & ZV_TS_PES_TIMING))
        mpegts_innerapi_filterPes(&ctx, &es, pkt + kTsHeaderSize, paces);
}

unsigned mpegts_innerapi_filterEs(MPEGTSContext* ctx, uint8_t* pkt, uint8_t flags, int8_t isPcr,
                                  const uint16_t* remapPids) {
    if (ctx == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "param err:rlmpegts");
        return 0;
    }
    if (pkt == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "param err:tspkt");
        return 0;
    }
    int es_index = 0;
    MPEGTSStream* es = mpegts_innerapi_findEs(ctx, nullptr, &es_index);
    if (es == nullptr) return 0;

    zv::take_stream_packet(*ctx, *es, pkt, flags, isPcr);
    if ((flags & ZV_TS_REMAP) && remapPids != nullptr && zvsi_api_isValidPid(remapPids[es_index]))
        zvsi_api_tsHeaderRemap(remapPids[es_index], pkt);
    return 1;
}
