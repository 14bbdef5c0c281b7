// SPDX-License-Identifier: MIT
// Continuity counters (ISO/IEC 13818-1, 2.4.3.3): is a packet the one that was due?
#pragma once

#include <utility>

#include "survey/packets/packet.h"

namespace zv::survey {

enum class Continuity {
    kInOrder,
    kDuplicate,  // the packet before, sent again: what it carries is known
    kSignalled,  // discontinuity_indicator, and yet the packet that was due
    kRestarted,  // discontinuity_indicator: what came before is cut off
    kError,
};

struct ContinuityCounts {
    uint64_t errors = 0;
    uint64_t lost = 0;
    uint64_t duplicates = 0;
    uint64_t signalled = 0;  // packets with discontinuity_indicator
};

// What is compared with the packet before it on the same PID.
struct PacketBefore {
    const uint8_t* bytes = nullptr;  // null when there was none
    uint8_t counter = 0;
    bool repeated = false;  // it had the counter of the one before it
};

// Judges a packet by the one before on its PID, and counts.
// before  in   the packet before
//         out  `repeated` is that of the packet that was judged
inline Continuity judge_continuity(const Packet& packet, PacketBefore& before,
                                   ContinuityCounts& counts) {
    const uint8_t counter = packet.head().continuity_counter();
    const uint8_t last = before.counter;
    const bool due =
        before.bytes == nullptr || counter == (packet.has_payload() ? ((last + 1) & 15) : last);
    const bool repeats = !due && packet.has_payload() && counter == last;
    const bool repeated_before = std::exchange(before.repeated, repeats);
    if (packet.discontinuity()) {
        before.repeated = false;
        ++counts.signalled;
        return due ? Continuity::kSignalled : Continuity::kRestarted;
    }
    if (due) return Continuity::kInOrder;
    if (repeats && !repeated_before && packet.repeats(before.bytes)) {
        ++counts.duplicates;
        return Continuity::kDuplicate;
    }
    if (!repeats && packet.has_payload()) counts.lost += (counter - last - 1) & 15;
    ++counts.errors;
    return Continuity::kError;
}

}  // namespace zv::survey
