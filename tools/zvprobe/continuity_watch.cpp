// SPDX-License-Identifier: MIT
// Implementation of continuity_watch.h.
#include "continuity_watch.h"

#include "table_watch.h"

namespace zvprobe {

Step count_continuity(CCState& state, PacketBytes packet, uint64_t offset, Findings& findings) {
    const uint8_t counter = counter_of(packet);
    const uint8_t last = state.last_cc;
    const int expected = (last + 1) & kCounterMask;
    const bool first = state.started == 0;
    state.started = 1;
    state.last_cc = counter;
    if (first || counter == expected) return Step::kNext;
    if (counter == last) return Step::kRepeat;
    ++state.errnum;
    const int lost = counter > expected ? counter - expected : kCounterMask - expected + counter;
    state.lostnum += static_cast<uint32_t>(lost);
    if (findings.next()) {
        findings.tell(offset, pid_of(packet),
                      "continuity " + std::to_string(counter) + " after " + std::to_string(last));
    }
    return Step::kGap;
}

void ContinuityWatch::see(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
    for (size_t at = 0; at + PacketBytes::extent <= packets.size(); at += packet_size) {
        const PacketBytes packet = packets.subspan(at).first<PacketBytes::extent>();
        const uint16_t pid = pid_of(packet);
        if (pid == kPidNull || is_empty(packet) || tables_.watches(pid)) continue;
        count_continuity(by_pid_[pid], packet, offset + at, findings_);
    }
}

}  // namespace zvprobe
