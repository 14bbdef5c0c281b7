// SPDX-License-Identifier: MIT
// What becomes of every PID when a programme gets new identifiers, and the tables that say so:
// made from what a first reading of the stream found, or refused.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "ts/pid_inventory.h"
#include "ts/resolver.h"
#include "ts/table_builder.h"

namespace zvprobe {

// What the user asks for.
struct RemapWish {
    std::optional<uint16_t> from;  // the programme, needed when there are several
    uint16_t program_number;
    uint16_t pmt_pid;
    uint16_t pcr_pid;
    std::vector<uint16_t> es_pids;  // in the order of the PMT
};

enum class Fate : uint8_t {
    kKeep,  // written as it is
    kMove,  // gets another PID
    kPat,   // these three: the new table where a packet starts the old one, a null packet elsewhere
    kPmt,
    kSdt,
    kDrop,  // becomes a null packet: nothing that follows moves in time
};

struct RemapPlan {
    struct Entry {
        Fate fate = Fate::kKeep;
        uint16_t new_pid = 0;
    };

    std::array<Entry, kPidCount> by_pid;
    uint16_t old_program_number;
    uint16_t old_pmt_pid;
    uint16_t old_pcr_pid;
    uint16_t new_pcr_pid;
    bool pcr_joins_stream;       // packets that had a PID of their own get that of a stream
    uint8_t pcr_counter_before;  // what the first counter on the PCR's new PID follows

    Packet pat;
    Packet pmt;
    std::optional<Packet> sdt;
    std::vector<std::string> warnings;  // what the new tables do not carry over
};

// Throws UsageError when the stream cannot be given these identifiers.
RemapPlan make_remap_plan(const ResolverAccount& account, const PidInventory& inventory,
                          const RemapWish& wish);

}  // namespace zvprobe
