// SPDX-License-Identifier: MIT
// What the PIDs and programmes of a stream are called in its copy, and which are not in it.
#pragma once

#include <cstdint>
#include <map>
#include <numeric>
#include <optional>
#include <vector>

#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {

// A clock that leaves the PID that it comes on, or joins a stream there.
struct ClockMove {
    uint16_t from;      // the old PCR PID
    uint16_t to;        // the new one
    bool joins_stream;  // packets that had a PID of their own get that of a stream
};

struct Identifiers {
    std::optional<uint16_t> only;          // the one programme that is copied
    std::map<uint16_t, uint16_t> numbers;  // of programmes that get another
    std::vector<uint16_t> pids = std::vector<uint16_t>(zv::kPidCount);  // new ones by old ones
    std::vector<bool> dropped = std::vector<bool>(zv::kPidCount);
    std::optional<ClockMove> clock;
    bool changes_pids = false;

    Identifiers() { std::iota(pids.begin(), pids.end(), uint16_t{0}); }

    bool changes_numbers() const { return only || !numbers.empty(); }
    bool changes_tables() const { return changes_pids || changes_numbers(); }

    bool keeps_number(uint16_t number) const { return !only || number == *only; }
    uint16_t new_number(uint16_t number) const {
        const auto found = numbers.find(number);
        return found == numbers.end() ? number : found->second;
    }
    uint16_t new_pcr_pid(uint16_t pid) const {
        return clock && pid == clock->from ? clock->to : pids[pid];
    }
};

}  // namespace zvprobe
