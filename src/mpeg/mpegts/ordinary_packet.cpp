// SPDX-License-Identifier: MIT
// The loop that nearly every packet of a large buffer goes through. Its budget is a few nanoseconds
// a packet: no call, no text, no clock, and one cache line of the packet unless a PES unit starts.
#include "mpeg/mpegts/ordinary_packet.h"

#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/pid_dispatch.h"

namespace zv {
namespace {

// A packet header as one big-endian word.
struct HeaderWord {
    uint32_t word;

    bool in_sync() const { return word >> 24 == kTsSyncByte; }
    bool starts_unit() const { return word & 0x00400000; }
    uint16_t pid() const { return (word >> 8) & 0x1FFF; }
    uint8_t adaptation_field_control() const { return (word >> 4) & 3; }
    uint8_t continuity_counter() const { return word & 15; }
    bool in_sync_with_payload_only() const { return (word & 0xFF000030) == 0x47000010; }
};

// May the packet carry a PCR, or an adaptation field that must be reported?
bool wants_pcr_stage(HeaderWord head, const uint8_t* pkt) {
    const uint8_t control = head.adaptation_field_control();
    return control == kAfcAdaptationOnly || (control == kAfcBoth && pkt[4] >= 7 && pkt[5] & 0x10);
}

// What the option word asks of every stream packet, made ready once a call.
class StreamWork {
  public:
    StreamWork(MPEGTSContext& ctx, uint8_t flags)
        : ctx_(ctx),
          checks_continuity_(flags & ZV_TS_CHECK_CC),
          times_all_(flags & ZV_TS_PES_TIMING),
          paced_(flags & ZV_TS_PACE_PES ? ctx.btc_es : nullptr) {}

    // -> false, with nothing done, when the packet is out of order
    bool take(MPEGTSStream& es, HeaderWord head, const uint8_t* pkt) const {
        if (checks_continuity_) {
            const uint8_t cc = head.continuity_counter();
            if (!continuity_in_order(es.cc_state, cc, 1)) return false;
            es.cc_state.started = 1;
            es.cc_state.last_cc = cc;
        }
        if (!times_all_ && &es != paced_) return true;
        if (head.starts_unit())
            start_unit(es, pkt);
        else
            es.timing.pes_data_recvd =
                static_cast<uint16_t>(es.timing.pes_data_recvd + kTsBodySize);
        return true;
    }

  private:
    [[gnu::noinline]] void start_unit(MPEGTSStream& es, const uint8_t* pkt) const {
        zvsi_api_tsHeaderParse(&ctx_.ts_head, pkt, kTsPacketSize, 0);
        mpegts_innerapi_filterPes(&ctx_, &es, pkt + kTsHeaderSize, &es == paced_);
    }

    MPEGTSContext& ctx_;
    bool checks_continuity_;
    bool times_all_;
    const MPEGTSStream* paced_;
};

// Packets that are not plainly payload of a stream: null packets, unclaimed PIDs, adaptation fields.
bool pass_less_ordinary(MPEGTSContext& ctx, const StreamWork& work, uint16_t entry, HeaderWord head,
                        const uint8_t* pkt) {
    if (!head.in_sync() || entry == kPidHasTable) return false;
    if (entry == kPidIgnored || head.adaptation_field_control() == kAfcReserved) return true;
    if (wants_pcr_stage(head, pkt)) return false;
    return entry == kPidUnclaimed || work.take(stream_of_entry(ctx, entry), head, pkt);
}

}  // namespace

int pass_ordinary(MPEGTSContext& ctx, const PacketWalk& walk, int index, const uint16_t* dispatch,
                  uint8_t flags) {
    const StreamWork work(ctx, flags);
    for (; index < walk.count(); ++index) {
        const uint8_t* pkt = walk.packet(index);
        const HeaderWord head = {load_be32(pkt)};
        const uint16_t entry = dispatch[head.pid()];
        const bool plain = is_stream_entry(entry) && head.in_sync_with_payload_only();
        const bool passed = plain ? work.take(stream_of_entry(ctx, entry), head, pkt)
                                  : pass_less_ordinary(ctx, work, entry, head, pkt);
        if (!passed) break;
    }
    return index;
}

}  // namespace zv
