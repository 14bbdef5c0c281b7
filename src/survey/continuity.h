// SPDX-License-Identifier: MIT
// Continuity counters (ISO/IEC 13818-1, 2.4.3.3): is a packet the one that was due?
#pragma once

#include "survey/packet.h"
#include "survey/pids.h"

namespace zv::survey {

enum class Continuity {
    kInOrder,
    kDuplicate,  // the packet before, sent again: what it carries is known
    kSignalled,  // discontinuity_indicator, and yet the packet that was due
    kRestarted,  // discontinuity_indicator: what came before is cut off
    kError,
};

// Judges a packet by the one before on its PID, and counts. The record still holds that one.
inline Continuity judge_continuity(const Packet& packet, const PidRecord& record,
                                   ContinuityCounts& counts) {
    const uint8_t counter = packet.head().continuity_counter();
    const uint8_t last = record.continuity_counter;
    const bool first = record.packets == 0;
    const bool due = first || counter == (packet.has_payload() ? ((last + 1) & 15) : last);
    if (packet.discontinuity()) {
        ++counts.signalled;
        return due ? Continuity::kSignalled : Continuity::kRestarted;
    }
    if (due) return Continuity::kInOrder;
    if (packet.has_payload() && counter == last) {
        if (!record.repeated && packet.repeats(record.last_packet)) {
            ++counts.duplicates;
            return Continuity::kDuplicate;
        }
    } else if (packet.has_payload()) {
        counts.lost += (counter - last - 1) & 15;
    }
    ++counts.errors;
    return Continuity::kError;
}

}  // namespace zv::survey
