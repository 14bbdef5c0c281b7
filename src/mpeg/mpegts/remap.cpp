// SPDX-License-Identifier: MIT
// Rewriting a stream in place under new identifiers, by the stages of the analyser in remap mode.
#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/packet_walk.h"
#include "zvcommon.h"

namespace {

// -> true when the packet is to be taken out
bool rewrite_packet(const RemapTarget& target, MPEGTSContext& ctx, uint8_t* pkt) {
    constexpr uint8_t kOptions = ZV_TS_REMAP;
    if (mpegts_innerapi_filterPat(&ctx, pkt, kOptions)) return true;
    if (mpegts_innerapi_filterSdt(&ctx, pkt, kOptions)) return true;
    if (mpegts_innerapi_filterPmt(&ctx, pkt, kOptions, target.pmt_pid, target.program_number))
        return false;
    if (ctx.is_getAllInfo) {
        const int8_t is_pcr = mpegts_innerapi_filterPcr(&ctx, pkt, kOptions, target.pcr_pid);
        mpegts_innerapi_filterEs(&ctx, pkt, kOptions, is_pcr, target.pid_es);
    } else {
        ctx.is_getAllInfo = static_cast<uint8_t>(mpegts_innerapi_isGetAllInfo(&ctx));
    }
    return false;
}

}  // namespace

int8_t mpegts_api_remap(const RemapTarget* target, MPEGTSContext* context, uint8_t* buffer,
                        int length) {
    if (target == nullptr || context == nullptr || buffer == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return -1;
    }
    const zv::PacketWalk walk(*context, buffer, length);
    int running = length;
    for (int i = 0; i < walk.count(); ++i) {
        if (!walk.open(*context, i)) return -1;
        uint8_t* pkt = buffer + static_cast<size_t>(i) * context->pkt_size;
        if (zv::is_skipped({zv::load_be32(pkt)})) continue;
        if (!rewrite_packet(*target, *context, pkt)) continue;
        // The next packet moves into this slot and is not looked at; the last slots are looked at
        // again with what the moves left there. Hosts know this order of the pass.
        zvt_innerapi_bufOffset(pkt, context->pkt_size, length - static_cast<int>(pkt - buffer));
        running -= context->pkt_size;
    }
    return static_cast<int8_t>(static_cast<uint8_t>(running));
}
