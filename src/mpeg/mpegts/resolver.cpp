// SPDX-License-Identifier: MIT
// The way of a packet through the analyser: header, PAT, PMT, (all tables known?) PCR, ES with PES
// timing and pacing, SDT last. In the steady state packets take the short way of steady_loop.h.
#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/packet_walk.h"
#include "mpeg/mpegts/pid_dispatch.h"
#include "mpeg/mpegts/steady_loop.h"

namespace {

// Offers the packet whose header is in the context to every stage. -> result of the PCR stage
int8_t offer_to_stages(MPEGTSContext& ctx, const uint8_t* packet, uint8_t flags) {
    // Without remap arguments no stage writes into the packet.
    auto* pkt = const_cast<uint8_t*>(packet);
    int8_t is_pcr = 0;
    mpegts_innerapi_filterPat(&ctx, pkt, flags);
    mpegts_innerapi_filterPmt(&ctx, pkt, flags, 0, 0);
    if (!ctx.is_getAllInfo) {
        ctx.is_getAllInfo = static_cast<uint8_t>(mpegts_innerapi_isGetAllInfo(&ctx));
    } else {
        if (ctx.btc_es == nullptr) ctx.btc_es = mpegts_innerapi_getBtcEs(&ctx);
        is_pcr = mpegts_innerapi_filterPcr(&ctx, pkt, flags, 0);
        mpegts_innerapi_filterEs(&ctx, pkt, flags, is_pcr, nullptr);
    }
    mpegts_innerapi_filterSdt(&ctx, pkt, flags);
    return is_pcr;
}

}  // namespace

int mpegts_parse(MPEGTSContext* ctx, const uint8_t* buf, int len, uint32_t flags) {
    // Before the buffer is looked at: a host that wants the tables alone may then pass none.
    if (ctx != nullptr && (flags & ZV_TS_STOP_KNOWN) && ctx->is_getAllInfo == 1) return 0;
    if (ctx == nullptr || buf == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return -1;
    }

    const zv::PacketWalk walk(*ctx, buf, len);
    const auto options = static_cast<uint8_t>(flags);
    int8_t result = 0;
    for (int i = 0; i < walk.count(); ++i) {
        if (zv::make_dispatch_ready(*ctx)) i = zv::pass_steady(*ctx, walk, i, options, result);
        if (i == walk.count()) break;
        if (!walk.open(*ctx, i)) {
            walk.settle(*ctx, i);
            return -1;
        }
        if (zv::is_skipped({zv::load_be32(walk.packet(i))})) continue;
        const int8_t is_pcr = offer_to_stages(*ctx, walk.packet(i), options);
        if (result == 0) result = is_pcr;
    }
    walk.settle(*ctx, walk.count());
    return result;
}
