// SPDX-License-Identifier: MIT
// Continuity counters (ISO/IEC 13818-1, 2.4.3.3): is a packet the one that was due?
#pragma once

#include <utility>

#include "survey/packets/packet.h"
#include "survey/records/pids.h"

namespace zv::survey {

enum class Continuity {
    kInOrder,
    kDuplicate,  // the packet before, sent again: what it carries is known
    kSignalled,  // discontinuity_indicator, and yet the packet that was due
    kRestarted,  // discontinuity_indicator: what came before is cut off
    kError,
};

// Judges a packet by the one before on its PID, and counts. The record still holds that one.
inline Continuity judge_continuity(const Packet& packet, PidRecord& record,
                                   ContinuityCounts& counts) {
    const uint8_t counter = packet.head().continuity_counter();
    const uint8_t last = record.continuity_counter();
    const bool due =
        record.packets == 0 || counter == (packet.has_payload() ? ((last + 1) & 15) : last);
    const bool repeats = !due && packet.has_payload() && counter == last;
    const bool repeated_before = std::exchange(record.repeated, repeats);
    if (packet.discontinuity()) {
        record.repeated = false;
        ++counts.signalled;
        return due ? Continuity::kSignalled : Continuity::kRestarted;
    }
    if (due) return Continuity::kInOrder;
    if (repeats && !repeated_before && packet.repeats(record.last_packet)) {
        ++counts.duplicates;
        return Continuity::kDuplicate;
    }
    if (!repeats && packet.has_payload()) counts.lost += (counter - last - 1) & 15;
    ++counts.errors;
    return Continuity::kError;
}

}  // namespace zv::survey
