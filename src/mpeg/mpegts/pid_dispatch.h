// SPDX-License-Identifier: MIT
// What a packet's PID means, in one load. Once all tables are known nearly every packet belongs to
// a known stream or to nobody; this tells which without asking stage after stage. Derived from the
// programme table, which stays the truth: a changed table is noticed and the entries are made anew.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

constexpr uint16_t kPidUnclaimed = 0;  // no table, no stream: only a PCR would matter
constexpr uint16_t kPidIgnored = 1;    // null packets
constexpr uint16_t kPidHasTable = 2;   // PAT, PMT or SDT: every stage must see it
// Any other entry is the place of the PID's stream in the context, in units of kPlaceUnit bytes.
constexpr size_t kPlaceUnit = alignof(MPEGTSStream);

// -> the entries for the context's tables as they stand; null while tables are missing, before the
// pacing stream was chosen, or while a debug switch wants to see every packet
const uint16_t* ready_dispatch(MPEGTSContext& ctx);

inline bool is_stream_entry(uint16_t entry) {
    return entry > kPidHasTable;
}

inline MPEGTSStream& stream_of_entry(MPEGTSContext& ctx, uint16_t entry) {
    return *reinterpret_cast<MPEGTSStream*>(reinterpret_cast<char*>(&ctx) + entry * kPlaceUnit);
}

}  // namespace zv
