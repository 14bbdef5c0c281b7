// SPDX-License-Identifier: MIT
// Which PIDs a stream uses, and how they begin.
#pragma once

#include <cstdint>
#include <vector>

#include "ts/ts_header.h"

namespace zvprobe {

struct PidFacts {
    bool seen = false;
    bool has_payload = false;    // some packet of it has
    uint8_t counter_before = 0;  // the counter that the first packet follows
};

class PidInventory {
  public:
    PidInventory() : by_pid_(kPidCount) {}

    void see(PacketBytes packet) {
        PidFacts& facts = by_pid_[pid_of(packet)];
        const bool payload = has_payload(packet);
        facts.has_payload = facts.has_payload || payload;
        if (facts.seen) return;
        facts.seen = true;
        facts.counter_before = static_cast<uint8_t>(counter_of(packet) - (payload ? 1 : 0));
    }

    const PidFacts& of(uint16_t pid) const { return by_pid_[pid % kPidCount]; }

  private:
    std::vector<PidFacts> by_pid_;
};

}  // namespace zvprobe
