// SPDX-License-Identifier: MIT
// The steady state: a packet of a known stream, in order, without a PCR. It costs the header, one
// table load and the stream's counters, with the exact effect of offering it to every stage.
#pragma once

#include "mpeg/mpegts/es_timing_wanted.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/pid_dispatch.h"

namespace zv {

// A packet header as one big-endian word.
struct HeaderWord {
    uint32_t word;

    bool in_sync() const { return word >> 24 == kTsSyncByte; }
    bool starts_unit() const { return word & 0x00400000; }
    uint16_t pid() const { return (word >> 8) & 0x1FFF; }
    uint8_t adaptation_field_control() const { return (word >> 4) & 3; }
    uint8_t continuity_counter() const { return word & 15; }
};

// May the packet carry a PCR, or an adaptation field that must be reported?
inline bool wants_pcr_stage(HeaderWord head, const uint8_t* pkt) {
    if (!(head.adaptation_field_control() & kAfcAdaptationOnly)) return false;
    return head.adaptation_field_control() == kAfcAdaptationOnly || (pkt[4] >= 7 && pkt[5] & 0x10);
}

inline void time_stream(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* pkt, HeaderWord head,
                        EsTiming timing) {
    if (!head.starts_unit()) {
        es.timing.pes_data_recvd = static_cast<uint16_t>(es.timing.pes_data_recvd + kTsBodySize);
        return;
    }
    zvsi_api_tsHeaderParse(&ctx.ts_head, pkt, kTsPacketSize, 0);
    mpegts_innerapi_filterPes(&ctx, &es, pkt + kTsHeaderSize, timing.pace);
}

// -> true when the packet was dealt with; false leaves everything as it was for the stages
[[gnu::always_inline]] inline bool pass_ordinary(MPEGTSContext& ctx, const uint8_t* dispatch,
                                                 const uint8_t* pkt, uint8_t flags) {
    const HeaderWord head = {load_be32(pkt)};
    const uint8_t entry = dispatch[head.pid()];
    if (!head.in_sync() || entry == kPidHasTable) return false;
    if (entry == kPidIgnored || head.adaptation_field_control() == kAfcReserved) return true;
    if (wants_pcr_stage(head, pkt)) return false;
    if (entry == kPidUnclaimed) return true;

    MPEGTSStream& es = stream_of_entry(ctx, entry);
    if (flags & ZV_TS_CHECK_CC) {
        if (!continuity_in_order(es.cc_state, head.continuity_counter(), 1)) return false;
        es.cc_state.started = 1;
        es.cc_state.last_cc = head.continuity_counter();
    }
    const EsTiming timing = es_timing_wanted(ctx, &es, flags);
    if (timing.wanted) time_stream(ctx, es, pkt, head, timing);
    return true;
}

}  // namespace zv
