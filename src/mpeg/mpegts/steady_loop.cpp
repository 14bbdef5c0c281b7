// SPDX-License-Identifier: MIT
// The loop that nearly every packet of a large buffer goes through. Its budget is a few nanoseconds
// a packet: no call, no text, no clock. Packets with a PCR, of tables or out of order go straight to
// the second half of their stage, and the loop goes on.
#include "mpeg/mpegts/steady_loop.h"

#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/pid_dispatch.h"
#include "mpeg/mpegts/stages/pes_timing.h"

namespace zv {
namespace {

// What the option word asks of every packet. The compiler makes a loop for each set of these.
constexpr uint8_t kLoopOptions = ZV_TS_CHECK_CC | ZV_TS_PES_TIMING | ZV_TS_PACE_PES;

class SteadyLoop {
  public:
    SteadyLoop(MPEGTSContext& ctx, const PacketWalk& walk, uint8_t flags, int8_t& result)
        : ctx_(ctx), packets_(walk), flags_(flags), result_(result) {}

    template <uint8_t Options>
    int run(int index) {
        const PacketWalk packets = packets_;  // a copy of its own stays in registers
        MPEGTSContext& ctx = ctx_;
        for (; index < packets.count(); ++index) {
            const uint8_t* pkt = packets.packet(index);
            const HeaderWord head = {load_be32(pkt)};
            const uint16_t entry = ctx.dispatch.entry[head.pid()];
            if (is_stream_entry(entry) && only_continues(head, pkt)) {
                if (take_payload<Options>(ctx, entry, head, pkt)) continue;
            }
            if (!take_other(entry, head, pkt)) break;
            if (!ctx.dispatch.is_derived) return index + 1;
        }
        return index;
    }

  private:
    // Nothing but payload of a stream: in sync, no PCR, no adaptation field that would be reported.
    static bool only_continues(HeaderWord head, const uint8_t* pkt) {
        return head.in_sync_with_payload_only() ||
               (head.in_sync() && head.adaptation_field_control() == kAfcBoth &&
                !adaptation_field_has_pcr(pkt + kTsHeaderSize));
    }

    // -> false, with nothing done, when the packet needs its stage
    template <uint8_t Options>
    static bool take_payload(MPEGTSContext& ctx, uint16_t entry, HeaderWord head,
                             const uint8_t* pkt) {
        MPEGTSStream& es = stream_of_entry(ctx, entry);
        const bool is_paced = (Options & ZV_TS_PACE_PES) && &es == ctx.btc_es;
        const bool is_timed = (Options & ZV_TS_PES_TIMING) || is_paced;
        // In null packets, too, the bit is often set. One branch for both: they come at random.
        static_assert(kHasNoOrder == 1);
        const bool starts_unit = is_timed && (head.payload_unit_start_indicator() & ~entry) != 0;
        if (starts_unit && (is_paced || !starts_pes_header(pkt + kTsHeaderSize))) return false;
        if (Options & ZV_TS_CHECK_CC) {
            const unsigned counter_bits = ((entry & kHasNoOrder) - 1u) & 15;
            if (!accept_continuity(es.cc_state, head.continuity_counter(), 1, counter_bits))
                return false;
        }
        if (starts_unit)
            take_pes_header(es.timing, pkt + kTsHeaderSize);
        else if (is_timed)
            count_payload(es.timing, kTsBodySize);
        return true;
    }

    // Packets that are not plainly payload of a stream, in order.
    // -> false, with nothing done, when every stage must see the packet
    [[gnu::noinline]] bool take_other(uint16_t entry, HeaderWord head, const uint8_t* pkt) {
        if (!head.in_sync()) return false;
        if (is_skipped(head)) return true;
        if (is_stream_entry(entry)) {
            take_for_stream(entry, pkt);
            return true;
        }
        if (entry == kPidShared || head.adaptation_field_control() != kAfcPayloadOnly) return false;
        take_table(entry, pkt);
        return true;
    }

    void take_for_stream(uint16_t entry, const uint8_t* pkt) {
        ctx_.ts_head = decode_header(pkt);
        MPEGTSStream& es = stream_of_entry(ctx_, entry);
        const int is_pcr = zvsi_api_isPcrData(ctx_.ts_head, pkt + kTsHeaderSize);
        if (is_pcr == 1) {
            if (MPEGTSProgram* program = program_of_pcr(ctx_, ctx_.ts_head.pid))
                take_pcr(ctx_, *program, pkt, flags_);
            else
                es.numPcr_noInPmt += 1;
            result_ = 1;
        }
        if (&es != &ctx_.dispatch.ignored)
            take_stream_packet(ctx_, es, pkt, flags_, static_cast<int8_t>(is_pcr));
    }

    // Without remap arguments no stage writes into the packet.
    void take_table(uint16_t entry, const uint8_t* pkt) {
        ctx_.ts_head = decode_header(pkt);
        mpegts_innerapi_filterPat(&ctx_, pkt, flags_);
        if (MPEGTSProgram* program = program_of_entry(ctx_, entry))
            take_pmt(ctx_, *program, const_cast<uint8_t*>(pkt), flags_, 0, 0);
        mpegts_innerapi_filterSdt(&ctx_, pkt, flags_);
    }

    MPEGTSContext& ctx_;
    const PacketWalk& packets_;
    uint8_t flags_;
    int8_t& result_;
};

}  // namespace

int pass_steady(MPEGTSContext& ctx, const PacketWalk& walk, int index, uint8_t flags,
                int8_t& result) {
    constexpr uint8_t kCc = ZV_TS_CHECK_CC, kTiming = ZV_TS_PES_TIMING, kPace = ZV_TS_PACE_PES;
    SteadyLoop loop(ctx, walk, flags, result);
    switch (flags & kLoopOptions) {
        case 0:
            return loop.run<0>(index);
        case kCc:
            return loop.run<kCc>(index);
        case kTiming:
            return loop.run<kTiming>(index);
        case kPace:
            return loop.run<kPace>(index);
        case kCc | kTiming:
            return loop.run<kCc | kTiming>(index);
        case kCc | kPace:
            return loop.run<kCc | kPace>(index);
        case kTiming | kPace:
            return loop.run<kTiming | kPace>(index);
        default:
            return loop.run<kCc | kTiming | kPace>(index);
    }
}

}  // namespace zv
