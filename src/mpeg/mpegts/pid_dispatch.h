// SPDX-License-Identifier: MIT
// What a packet's PID means, in one load. Once all tables are known nearly every packet belongs to
// a known stream or to nobody; this tells which without asking stage after stage. Derived from the
// programme table, which stays the truth.
//
// Whoever stores a table says so with forget_dispatch. A table changed by any other hand is noticed
// where it matters: a stream's entry is believed while the stream's record names the same PID, and
// the word that nobody claims a PID is checked against the whole table once a call.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

constexpr uint16_t kPidUnclaimed = 0;  // no table, no stream: only a PCR would matter
constexpr uint16_t kPidHasTable = 1;   // PAT, PMT or SDT, and no stream
constexpr uint16_t kPidShared = 2;     // a table and a stream: every stage must see the packet
// Any other entry is the place of the PID's stream in the context, in units of kPlaceUnit bytes.
// Null packets have one too, with a mark in the bit that alignment leaves free.
constexpr size_t kPlaceUnit = alignof(MPEGTSStream) / 2;
constexpr uint16_t kHasNoOrder = 1;

inline bool is_stream_entry(uint16_t entry) {
    return entry > kPidShared;
}

inline bool is_table_entry(uint16_t entry) {
    return entry == kPidHasTable || entry == kPidShared;
}

inline MPEGTSStream& stream_of_entry(MPEGTSContext& ctx, uint16_t entry) {
    return *reinterpret_cast<MPEGTSStream*>(reinterpret_cast<char*>(&ctx) +
                                            (entry & ~unsigned{kHasNoOrder}) * kPlaceUnit);
}

// To be called when a table was stored.
inline void forget_dispatch(MPEGTSContext& ctx) {
    ctx.dispatch.tables_stamp = 0;
}

// The entries during one parse call.
class PidClaims {
  public:
    explicit PidClaims(MPEGTSContext& ctx) : ctx_(ctx) { make_ready(); }

    // false while tables are missing, before the pacing stream was chosen, or while a debug switch
    // wants to see every packet
    bool ready() const { return entries_ != nullptr; }

    // By PID, unchecked.
    const uint16_t* entries() const { return entries_; }

    MPEGTSStream& stream(uint16_t entry) const { return stream_of_entry(ctx_, entry); }

    // -> the entry of a PID, after making sure that the programme table says the same
    uint16_t sure_entry(uint16_t pid) {
        const uint16_t entry = entries_[pid];
        const bool doubtful = is_stream_entry(entry) ? stream(entry).pid != pid
                                                     : entry == kPidUnclaimed && !compared_;
        if (!doubtful) return entry;
        compare();
        return entries_[pid];
    }

    // To be called when stages have seen a packet, which may have brought a table.
    void make_ready() {
        if (entries_ == nullptr || ctx_.dispatch.tables_stamp == 0) entries_ = ready_entries();
    }

  private:
    const uint16_t* ready_entries();
    void compare();

    MPEGTSContext& ctx_;
    const uint16_t* entries_ = nullptr;
    bool compared_ = false;
};

}  // namespace zv
