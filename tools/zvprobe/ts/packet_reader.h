// SPDX-License-Identifier: MIT
// A source packet by packet, with the time code or parity of each, for commands that write packets
// again. The library's framer finds them.
#pragma once

#include <cstdint>
#include <span>

#include "io/source.h"
#include "mpeg/ts_packet/framing.h"

namespace zvprobe {

// One packet; the bytes last until the next one is asked for.
struct FramedPacket {
    std::span<const uint8_t> time_code;  // 4 bytes of 192, fewer where the source begins within
    std::span<const uint8_t, 188> body;
    std::span<const uint8_t> parity;  // 16 bytes of 204
};

class PacketReader {
  public:
    explicit PacketReader(Source& source) : source_(source), window_(source.next(0)) {}

    // Finds the next packet. -> false at the end of the source
    bool next();

    // The packet that was found.
    FramedPacket packet() const;

    // -> bytes of the source that have been looked at
    uint64_t bytes() const { return framer_.offset(); }

    // -> bytes that belong to no packet, so far
    uint64_t left_out() const {
        return framer_.counts().skipped_bytes + framer_.counts().trailing_bytes;
    }

  private:
    bool step();
    bool refill();

    Source& source_;
    zv::Framer framer_;
    std::span<const uint8_t> window_;
    size_t at_ = 0;         // in the window: what the framer has not taken
    size_t packet_at_ = 0;  // in the window: the packet that was found
    size_t next_at_ = 0;    // the one after it in the same run
    size_t run_left_ = 0;   // packets of the run from next_at_ on
};

}  // namespace zvprobe
