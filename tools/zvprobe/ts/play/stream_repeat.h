// SPDX-License-Identifier: MIT
// Packets of a stream that is sent again and again, rewritten so that each pass goes on where the
// one before ended: continuity counters, PCR and OPCR, PTS and DTS (ISO/IEC 13818-1, 2.4.3).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {

class StreamRepeat {
  public:
    // Rewrites a packet of 188 bytes. One that is marked as damaged stays as it is, and so do null
    // packets, scrambled PES headers, and time stamps that do not lie in a unit's first packet.
    void rewrite(std::span<uint8_t, zv::kTsPacketSize> packet);

    // Another pass begins. ticks: 27 MHz, how long the one before was
    void begin_pass(uint64_t ticks);

    // -> 27 MHz ticks from the first pass to this one
    uint64_t offset() const { return offset_; }

  private:
    struct Pid {
        std::optional<uint8_t> counter;  // of the latest packet
        std::optional<uint64_t> pcr;     // the latest
        uint8_t counter_shift = 0;       // in this pass
        uint64_t pass = 0;               // of the counter
        uint64_t pcr_pass = 0;
    };

    void go_on_counting(uint8_t* packet, Pid& pid) const;
    void move_clocks(uint8_t* packet, Pid& pid) const;
    void move_time_stamps(uint8_t* packet) const;

    std::vector<Pid> pids_ = std::vector<Pid>(zv::kPidCount);
    uint64_t pass_ = 0;
    uint64_t offset_ = 0;
};

}  // namespace zvprobe
