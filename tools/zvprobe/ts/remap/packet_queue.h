// SPDX-License-Identifier: MIT
// Packets on their way out: in the order in which they came, some of them still waiting for what a
// table will say. Counters and parity are settled when they leave.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "io/output/out_file.h"
#include "ts/packet_reader.h"
#include "ts/remap/packet_edit.h"

namespace zvprobe {

class QueuedPacket {
  public:
    enum class Counter : uint8_t {
        kKeep,
        kNext,    // follows that of the packet before on the PID
        kRepeat,  // is that of the packet before on the PID
    };

    void copy(const FramedPacket& from);

    ConstPacketBytes bytes() const { return body_; }
    // The bytes, to be changed: a parity that was right is made right again, others are filling and
    // stay.
    PacketBytes change();

    void write(OutFile& out);

    Counter counter = Counter::kKeep;
    bool waiting = false;   // for a table
    bool left_out = false;  // is not written

  private:
    std::array<uint8_t, zv::kTsPacketSize> body_;
    std::array<uint8_t, 4> time_code_;
    std::array<uint8_t, 16> parity_;
    uint8_t time_code_size_ = 0;
    uint8_t parity_size_ = 0;
    bool changed_ = false;
    bool was_right_ = false;  // the parity, before the change
};

class PacketQueue {
  public:
    // So many packets wait at most: a second at 50 Mbit/s. A table that takes longer comes later.
    static constexpr size_t kMostWaiting = 32768;

    PacketQueue(OutFile& out, bool without_nulls)
        : out_(out), without_nulls_(without_nulls), ring_(kMostWaiting), last_(zv::kPidCount) {}

    // Tells the counter that the first one of a PID of the copy follows.
    void begin_counter(uint16_t pid, uint8_t before) { last_[pid] = before; }

    // Adds a copy of a packet at the end. It stays where it is until it is written.
    QueuedPacket& push(const FramedPacket& from);

    // Adds a copy of the packet that was added last, for others to fill.
    QueuedPacket& push_another();

    // -> the place of the packet that was added last
    uint64_t last_place() const { return end_ - 1; }

    // -> the packet at a place, null once it waits no more
    QueuedPacket* waiting_at(uint64_t place);

    // What waited for a table gets none.
    void give_up(QueuedPacket& packet);

    // Nothing of the packet is copied.
    void make_null(QueuedPacket& packet);

    // Writes the packets that nothing before them waits for. Throws OutputError.
    void release();

    uint64_t written() const { return written_; }

  private:
    QueuedPacket& add();
    QueuedPacket& at(uint64_t place) { return ring_[place % kMostWaiting]; }
    void write(QueuedPacket& packet);
    void settle_counter(QueuedPacket& packet);

    OutFile& out_;
    bool without_nulls_;
    std::vector<QueuedPacket> ring_;
    uint64_t begin_ = 0;
    uint64_t end_ = 0;
    std::vector<uint8_t> last_;  // counters, by PID
    uint64_t written_ = 0;
};

}  // namespace zvprobe
