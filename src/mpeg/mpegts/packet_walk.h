// SPDX-License-Identifier: MIT
// A buffer as packets of the context's size: detection, sync test, header decoding, look-ahead.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

class PacketWalk {
  public:
    // Detects the context's packet size when it is not known yet.
    PacketWalk(MPEGTSContext& ctx, const uint8_t* buf, int len);

    int count() const { return count_; }

    // Also prefetches the first two cache lines of a packet further on, where headers and tables are:
    // without that every loop over a large buffer waits for one cache miss a packet (measured: 2.4
    // times the time), and for two where PES packets begin. That may be past the buffer, where the
    // next call often begins.
    const uint8_t* packet(int index) const {
        const uint8_t* pkt = at(index);
        prefetch_packet(pkt, ahead_);
        return pkt;
    }

    // Decodes a packet's header into the context. -> false, reported, when the sync byte is missing
    bool open(MPEGTSContext& ctx, int index) const;

    // Leaves the header of the last packet before `end` in the context: not every packet is decoded
    // on the way.
    void settle(MPEGTSContext& ctx, int end) const;

  private:
    static constexpr int kLookAhead = 32;

    const uint8_t* at(int index) const {
        return buf_ + static_cast<size_t>(index) * static_cast<size_t>(size_);
    }

    const uint8_t* buf_;
    int len_;
    int size_;
    int count_;
    uintptr_t ahead_;  // bytes of look-ahead
};

// Null packets and the reserved adaptation_field_control concern no stage.
inline bool is_skipped(HeaderWord head) {
    return head.pid() == kPidNull || head.adaptation_field_control() == kAfcReserved;
}

}  // namespace zv
