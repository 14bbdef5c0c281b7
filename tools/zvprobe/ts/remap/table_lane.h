// SPDX-License-Identifier: MIT
// The tables of one PID on their way into the copy: sections come out of packets, are rewritten and
// go into the same packets again, as far as those reach.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "ts/remap/packet_queue.h"
#include "ts/remap/pid_sections.h"

namespace zvprobe {

class TableLane {
  public:
    // Gets a section that came. -> the one that is to be written; nothing when none is
    using Rewrite =
        std::function<std::optional<std::vector<uint8_t>>(const zv::survey::Section& section)>;

    TableLane(uint16_t new_pid, PacketQueue& queue, zv::survey::SectionBudget& budget,
              Rewrite rewrite)
        : new_pid_(new_pid), queue_(queue), sections_(budget), rewrite_(std::move(rewrite)) {}

    // Takes a packet of the PID, which is the last one of the queue: its place is used again.
    void take(const zv::survey::Packet& packet, QueuedPacket& queued);

    // -> bytes for which the packets that came had no room: they may go into any null packet
    size_t left_over() const { return left_over_ ? bytes_.size() : 0; }

    // Writes what is left over into a packet that carried nothing, the last one of the queue.
    void use(QueuedPacket& queued);

    // No packet of the PID follows, for now.
    void settle();

  private:
    // What a packet can carry of the bytes that wait.
    struct Piece {
        bool starts_section;
        size_t size;
        bool fills;  // all of the packet, or up to where another one has to begin
    };

    bool read(const zv::survey::Packet& packet);
    Piece piece_for(size_t room) const;
    bool fill_next_place(bool with_stuffing);
    void put(QueuedPacket& queued, const Piece& piece);
    void empty_places(size_t keep);
    void flush();

    uint16_t new_pid_;
    PacketQueue& queue_;
    PidSections sections_;
    Rewrite rewrite_;
    std::deque<uint64_t> places_;  // of packets that wait, in order
    std::vector<uint8_t> bytes_;   // sections that were rewritten
    std::deque<size_t> starts_;    // where in bytes_ they begin
    bool left_over_ = false;       // bytes_ has no places, nor has anything else
};

}  // namespace zvprobe
