// SPDX-License-Identifier: MIT
// What waits for its time: everything that came and cannot be judged before its time is known.
#pragma once

#include <cstdint>
#include <variant>

#include "survey/records/events.h"
#include "survey/records/roles.h"
#include "survey/records/tables.h"
#include "survey/time/clock.h"

namespace zv::survey {

struct FoundEvent {
    uint64_t offset;
    Event event;
    uint32_t place;      // in the list of events
    uint64_t intervals;  // of the clock so far
    bool of_section;     // when the section began
};

// Packets of a PID without a gap that could matter.
struct Segment {
    uint64_t offset;  // of the last packet
    uint16_t pid;
    uint64_t first;  // of the first
};

struct SectionBegun {
    uint64_t offset;
    uint16_t pid;
};

// A sound section is whole.
struct SectionDone {
    uint64_t offset;  // of the packet that completed it
    uint16_t pid;
    uint8_t table_id;
    uint8_t number;  // 0 in short sections
    bool is_long;
    bool is_current;
    bool of_program;  // the PMT of a programme in force
    uint16_t extension;
    TableRecord* record;  // null where there are too many tables
};

struct PcrCame {
    uint64_t offset;
    uint16_t pid;
    PcrStep step;
    uint64_t intervals;  // of the clock so far, with this PCR
};

struct PtsCame {
    uint64_t offset;
    uint16_t pid;
    int32_t reference_pid;  // of the PCR with which it is compared; kNoPid without one
    uint64_t decoding;      // 90 kHz
    uint64_t reference;     // the PCR
};

struct PtsInterrupted {
    uint64_t offset;
    uint16_t pid;
};

struct RoleChange {
    uint64_t offset;
    uint16_t pid;
    Role role;
    bool begins;
};

struct ProgramChange {
    uint64_t offset;
    uint16_t number;
    uint16_t pmt_pid;
    bool begins;
};

struct FirstPat {
    uint64_t offset;
};

struct FirstScrambled {
    uint64_t offset;
};

using Timed = std::variant<FoundEvent, Segment, SectionBegun, SectionDone, PcrCame, PtsCame,
                           PtsInterrupted, RoleChange, ProgramChange, FirstPat, FirstScrambled>;

}  // namespace zv::survey
