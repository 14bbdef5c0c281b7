// SPDX-License-Identifier: MIT
// The loop that nearly every packet of a large buffer goes through. Its budget is a few nanoseconds
// a packet: no call, no text, no clock, and one cache line of the packet unless a PES unit starts.
#include "mpeg/mpegts/ordinary_packet.h"

#include "mpeg/mpegts/filters.h"

namespace zv {
namespace {

// May the packet carry a PCR, or an adaptation field that must be reported?
bool wants_pcr_stage(HeaderWord head, const uint8_t* pkt) {
    const uint8_t control = head.adaptation_field_control();
    return control == kAfcAdaptationOnly ||
           (control == kAfcBoth && pkt[4] >= kMinAdaptationLengthWithPcr && pkt[5] & kPcrFlag);
}

[[gnu::noinline]] void start_unit(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* pkt,
                                  bool paces) {
    if (&es == &ctx.dispatch.ignored) return;
    ctx.ts_head = decode_header(pkt);
    mpegts_innerapi_filterPes(&ctx, &es, pkt + kTsHeaderSize, paces);
}

// What the option word asks of every stream packet, made ready once a run.
class StreamWork {
  public:
    StreamWork(MPEGTSContext& ctx, uint8_t flags)
        : ctx_(ctx),
          checks_continuity_(flags & ZV_TS_CHECK_CC),
          times_all_(flags & ZV_TS_PES_TIMING),
          paced_(flags & ZV_TS_PACE_PES ? ctx.btc_es : nullptr) {}

    // -> false, with nothing done, when the packet is out of order
    bool take(MPEGTSStream& es, uint16_t entry, HeaderWord head, const uint8_t* pkt) const {
        if (checks_continuity_) {
            const uint8_t cc = head.continuity_counter();
            if (!in_order(es, entry, cc)) return false;
            es.cc_state.started = 1;
            es.cc_state.last_cc = cc;
        }
        if (!times_all_ && &es != paced_) return true;
        if (head.payload_unit_start_indicator())
            start_unit(ctx_, es, pkt, &es == paced_);
        else
            es.timing.pes_data_recvd =
                static_cast<uint16_t>(es.timing.pes_data_recvd + kTsBodySize);
        return true;
    }

  private:
    // Null packets come at random among the others: a mask, because a branch on them would be
    // guessed wrong every other time.
    static bool in_order(const MPEGTSStream& es, uint16_t entry, uint8_t cc) {
        const unsigned counter_bits = ((entry & kHasNoOrder) - 1u) & 15;
        const unsigned step_off = (es.cc_state.last_cc + 1u - cc) & counter_bits;
        return step_off == 0 || continuity_in_order(es.cc_state, cc, 1);
    }

    MPEGTSContext& ctx_;
    bool checks_continuity_;
    bool times_all_;
    const MPEGTSStream* paced_;
};

// Packets that are not plainly payload of a stream: unclaimed PIDs, adaptation fields.
[[gnu::noinline]] bool pass_less_ordinary(PidClaims& claims, const StreamWork& work,
                                          HeaderWord head, const uint8_t* pkt) {
    if (!head.in_sync()) return false;
    if (head.pid() == kPidNull || head.adaptation_field_control() == kAfcReserved) return true;
    const uint16_t entry = claims.sure_entry(head.pid());
    if (is_table_entry(entry) || wants_pcr_stage(head, pkt)) return false;
    return entry == kPidUnclaimed || work.take(claims.stream(entry), entry, head, pkt);
}

}  // namespace

int pass_ordinary(MPEGTSContext& ctx, const PacketWalk& walk, int index, PidClaims& claims,
                  uint8_t flags) {
    const StreamWork work(ctx, flags);
    const PacketWalk packets = walk;  // a copy of our own stays in registers
    const uint16_t* const entries = claims.entries();
    for (; index < packets.count(); ++index) {
        const uint8_t* pkt = packets.packet(index);
        const HeaderWord head = {load_be32(pkt)};
        const uint16_t entry = entries[head.pid()];
        if (is_stream_entry(entry) && head.in_sync_with_payload_only()) {
            MPEGTSStream& es = stream_of_entry(ctx, entry);
            if (es.pid == head.pid() && work.take(es, entry, head, pkt)) continue;
        }
        if (!pass_less_ordinary(claims, work, head, pkt)) break;
    }
    return index;
}

}  // namespace zv
