// SPDX-License-Identifier: MIT
// RTP payloads back in the order of their sequence numbers: holds packets that came early until the
// ones before them come or the window is full, and counts what went wrong on the way.
#pragma once

#include <cstdint>
#include <span>

#include "mpeg/ts_tools/rtp_header.h"

namespace zv {

class RtpOrder {
  public:
    // How many packets may overtake one before it is given up as lost.
    static constexpr int kWindow = 16;

    struct Counts {
        uint64_t packets = 0;    // put in
        uint64_t lost = 0;       // never came, or came too late
        uint64_t repeated = 0;   // had come before; dropped
        uint64_t reordered = 0;  // came after a later one, in time to be put in its place
        uint64_t late = 0;       // came when it had been given up, or before the first; dropped
    };

    // Receives the payloads in order; the bytes last for the call.
    using Deliver = void (*)(void* user, std::span<const uint8_t> payload);

    void deliver_to(Deliver deliver, void* user) {
        deliver_ = deliver;
        user_ = user;
    }

    // Delivers none, one or several payloads. Another SSRC is a sender that began anew: what was
    // held is delivered, and nothing is counted between the two.
    void put(const RtpPacket& packet);

    // Delivers what is still held.
    void flush();

    const Counts& counts() const { return counts_; }

  private:
    static constexpr size_t kSlots = 32;  // a power of two above the window
    static constexpr size_t kMaxPayload = 65536;
    static constexpr int kHistory = 64;  // received or not, of the packets before next_

    struct Slot {
        bool filled = false;
        uint32_t size;
        uint8_t bytes[kMaxPayload];
    };

    Slot& slot(uint16_t sequence) { return slots_[sequence % kSlots]; }
    void begin(const RtpPacket& packet);
    void put_past(const RtpPacket& packet, int packets_ago);
    void hold(const RtpPacket& packet);
    void give_up(int packets);
    void deliver_ready();
    void step();

    Deliver deliver_ = nullptr;
    void* user_ = nullptr;
    Counts counts_;
    bool started_ = false;
    uint32_t ssrc_ = 0;
    uint16_t next_ = 0;         // the packet to be delivered next
    uint16_t highest_ = 0;      // the latest that has come
    uint64_t history_ = 0;      // bit k: next_ - 1 - k has come
    bool strayed_ = false;      // the packet before this one was far from next_
    uint16_t after_stray_ = 0;  // the one that would confirm it
    Slot slots_[kSlots];
};

}  // namespace zv
