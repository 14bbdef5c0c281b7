// SPDX-License-Identifier: MIT
// The second reading: every packet into the copy, under its new identifiers.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "ts/remap/identifiers.h"
#include "ts/remap/packet_queue.h"
#include "ts/remap/stream_facts.h"
#include "ts/remap/table_lane.h"

namespace zvprobe {

class RemapWriter {
  public:
    // facts: of the same stream, from its first reading
    RemapWriter(const Identifiers& identifiers, const StreamFacts& facts, bool without_nulls,
                OutFile& out);

    // Throws OutputError.
    void take(const FramedPacket& packet);
    void finish();

    // -> packets that were written
    uint64_t packets() const { return queue_.written(); }

  private:
    bool is_copied(uint16_t pid) const;
    bool is_rewritten(uint16_t pid) const;
    void take_table(const zv::survey::Packet& packet, QueuedPacket& queued);
    void take_other(const FramedPacket& framed);
    void move_clock(const FramedPacket& framed);
    void take_nothing(QueuedPacket& queued);
    void begin_counters(const StreamFacts& facts);
    TableLane& lane_of(uint16_t pid);
    void insert(TableLane& lane, size_t most_left);

    const Identifiers& ids_;
    TablesInForce tables_;
    PacketQueue queue_;
    zv::survey::SectionBudget budget_;
    std::vector<std::unique_ptr<TableLane>> lanes_ =
        std::vector<std::unique_ptr<TableLane>>(zv::kPidCount);
    std::deque<uint16_t> hungry_;  // PIDs whose tables have something left over
    std::vector<bool> is_hungry_ = std::vector<bool>(zv::kPidCount);
};

}  // namespace zvprobe
