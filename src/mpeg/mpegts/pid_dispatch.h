// SPDX-License-Identifier: MIT
// What a packet's PID means, in one load. Once all tables are known nearly every packet belongs to
// a known stream or to nobody; this tells which without asking stage after stage. Derived from the
// programme table, which stays the truth: a changed table is noticed and the entries are made anew.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

// Entries 1..120 name a stream: 1 + programme * kMaxStreams + position.
constexpr uint8_t kPidUnclaimed = 0;   // no table, no stream: only a PCR would matter
constexpr uint8_t kPidIgnored = 254;   // null packets
constexpr uint8_t kPidHasTable = 255;  // PAT, PMT or SDT: every stage must see it

// -> the entries for the context's tables as they stand; null while tables are missing, before the
// pacing stream was chosen, or while a debug switch wants to see every packet
const uint8_t* ready_dispatch(MPEGTSContext& ctx);

inline MPEGTSStream& stream_of_entry(MPEGTSContext& ctx, uint8_t entry) {
    const unsigned index = entry - 1u;
    return ctx.program[index / kMaxStreams].streams[index % kMaxStreams];
}

}  // namespace zv
