// SPDX-License-Identifier: MIT
// Finding, opening and looking ahead over the packets of one buffer.
#include "mpeg/mpegts/packet_walk.h"

#include <algorithm>

#include "bitStream/log.h"
#include "ts_tools.h"

namespace zv {

PacketWalk::PacketWalk(MPEGTSContext& ctx, const uint8_t* buf, int len) : buf_(buf), len_(len) {
    if (ctx.pkt_size < kTsPacketSize)
        ctx.pkt_size = mpegts_api_getTsPktSize3(buf, static_cast<uint32_t>(std::max(len, 0)));
    size_ = ctx.pkt_size;
    count_ = std::max(len, 0) / size_;
    ahead_ = uintptr_t{kLookAhead} * static_cast<uintptr_t>(size_);
    const uint8_t* const end = at(std::min(count_, kLookAhead));
    for (const uint8_t* pkt = buf; pkt < end; pkt += size_)
        prefetch_packet(pkt, 0);
}

bool PacketWalk::open(MPEGTSContext& ctx, int index) const {
    LOG_IF(DBG_COMMON, kLogDebug, "MPEGTS",
           "==========================pkt(%u),len(%d)==========================", size_, len_);
    const uint8_t* pkt = at(index);
    if (pkt[0] != kTsSyncByte) {
        LOG(kLogVerbose, "MPEGTS", "It is not a ts stream-len:%d,pkt_index:%d", len_, index);
        if (DBG_COMMON) zvlog_innerapi_bufHex("pbufala", pkt, 16, __func__, __LINE__);
        return false;
    }
    zvsi_api_tsHeaderParse(&ctx.ts_head, pkt, size_, DBG_TSHEAD_MODE);
    return true;
}

void PacketWalk::settle(MPEGTSContext& ctx, int end) const {
    if (end > 0) ctx.ts_head = decode_header(at(end - 1));
}

}  // namespace zv
