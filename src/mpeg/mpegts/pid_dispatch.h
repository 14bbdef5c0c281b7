// SPDX-License-Identifier: MIT
// What a packet's PID means, in one load. Once all tables are known nearly every packet belongs to
// a known stream or concerns no stage; the entry says which, without a call of every stage.
// Derived from the programme table; the code that stores a table calls forget_dispatch.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

// An entry is the place in the context of what the PID belongs to, in units of kPlaceUnit bytes: a
// stream, or with a mark a programme whose PMT has this PID.
constexpr size_t kPlaceUnit = alignof(MPEGTSStream) / 2;
constexpr uint16_t kPidHasTable = 1;  // PAT or SDT, and nothing else
constexpr uint16_t kPidShared = 2;    // a table and a stream: every stage must see the packet
constexpr uint16_t kHasNoOrder = 1;   // a mark on `ignored`, in the bit that alignment leaves free
constexpr uint16_t kIsPmt = 0x8000;

inline bool is_stream_entry(uint16_t entry) {
    return static_cast<int16_t>(entry) > kPidShared;
}

inline void* place_of_entry(MPEGTSContext& ctx, uint16_t entry) {
    return reinterpret_cast<char*>(&ctx) + (entry & ~unsigned{kIsPmt | kHasNoOrder}) * kPlaceUnit;
}

// The stream of a PID; `ignored` when there is none.
inline MPEGTSStream& stream_of_entry(MPEGTSContext& ctx, uint16_t entry) {
    return *static_cast<MPEGTSStream*>(place_of_entry(ctx, entry));
}

// -> the first programme whose PMT has the PID, else null
inline MPEGTSProgram* program_of_entry(MPEGTSContext& ctx, uint16_t entry) {
    return entry & kIsPmt ? static_cast<MPEGTSProgram*>(place_of_entry(ctx, entry)) : nullptr;
}

// -> the first programme that has its PCRs on the PID, else null
inline MPEGTSProgram* program_of_pcr(MPEGTSContext& ctx, uint16_t pid) {
    for (int i = 0; i < kMaxPrograms; ++i) {
        if (ctx.dispatch.pcr_pid[i] == pid) return pid != 0 ? &ctx.program[i] : nullptr;
    }
    return nullptr;
}

// To be called when a table was stored.
inline void forget_dispatch(MPEGTSContext& ctx) {
    ctx.dispatch.is_derived = 0;
}

// Derives what was forgotten.
// -> false while tables are missing, before the pacing stream was chosen, or while a debug switch
//    that reports every packet is on
bool make_dispatch_ready(MPEGTSContext& ctx);

}  // namespace zv
