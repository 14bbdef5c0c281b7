// SPDX-License-Identifier: MIT
// A source packet by packet, with what stands around each: for commands that write packets again.
#pragma once

#include <cstdint>
#include <span>

#include "io/source.h"
#include "ts/ts_sync.h"

namespace zvprobe {

// One packet; the bytes last until the next one is asked for.
struct TsPacket {
    std::span<const uint8_t> time_code;  // 4 bytes of 192, missing if the source begins behind it
    std::span<const uint8_t> body;       // always 188
    std::span<const uint8_t> parity;     // 16 bytes of 204, missing if the source ends before it
};

class TsPackets {
  public:
    // window: what source.next(0) gave, in which `first` was found
    TsPackets(Source& source, std::span<const uint8_t> window, const SyncPoint& first);

    // -> false at the end. Bytes of no whole packet are passed over.
    bool next(TsPacket& packet);

    uint64_t bytes() const { return bytes_; }

  private:
    size_t available() const { return window_.size() - at_; }
    bool refill();
    bool find_start();
    void pass(size_t count);

    Source& source_;
    std::span<const uint8_t> window_;
    size_t packet_size_;
    size_t time_code_size_;
    bool in_sync_ = true;
    size_t at_ = 0;       // in the window: where the next sync byte should be
    uint64_t bytes_ = 0;  // before that place
};

}  // namespace zvprobe
