// SPDX-License-Identifier: MIT
// The order of RTP packets by their sequence numbers: which come early and are held until the ones
// before them come or the window is full, which are dropped, and what went wrong on the way. The
// payloads are the caller's, in numbered slots.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace zv {

// What is believed of a sequence number that is far from the expected one.
struct RtpRules {
    int window = 16;           // packets that may overtake one before it is given up as lost
    int most_ahead = 32767;    // missing packets; beyond that the sender may have begun anew
    int most_late = 64;        // the same for a packet that comes late
    bool keeps_stray = false;  // the first packet of a sender that began anew is delivered, too
};

class RtpSequence {
  public:
    static constexpr int kMostWindow = 1024;
    static constexpr int kMostLate = 512;

    struct Counts {
        uint64_t packets = 0;       // put in
        uint64_t lost = 0;          // never came, or came too late
        uint64_t repeated = 0;      // had come before; dropped
        uint64_t reordered = 0;     // came after a later one, in time to be put in its place
        uint64_t late = 0;          // came when it had been given up, or before the first; dropped
        uint64_t ssrc_changes = 0;  // another sender
        uint64_t restarts = 0;      // the same sender from another number on
    };

    // Gets the slots whose payloads are next.
    using Deliver = void (*)(void* user, size_t slot);

    explicit RtpSequence(const RtpRules& rules);

    void deliver_to(Deliver deliver, void* user) {
        deliver_ = deliver;
        user_ = user;
    }

    // -> how many slots there are for payloads
    size_t slots() const { return slots_ + 1; }

    // Takes a packet; may deliver what is held first. Another SSRC is a sender that began anew: what
    // was held is delivered, and nothing is lost between the two.
    // -> the slot for its payload, to be filled before deliver_ready; nothing: it is dropped
    std::optional<size_t> put(uint16_t sequence, uint32_t ssrc);

    // Delivers what follows what was delivered last.
    void deliver_ready();

    // Gives up the packets in front of the first that is held, and delivers from there on.
    void give_up_gap();

    // Delivers what is still held.
    void flush();

    // -> how many sequence numbers there are from the next one to the latest
    int waiting() const;

    // -> the slot of the packet so many after the next one; nothing when it has not come
    std::optional<size_t> held(int ahead) const;

    const Counts& counts() const { return counts_; }

  private:
    size_t slot(uint16_t sequence) const { return sequence % slots_; }
    void begin(uint16_t sequence);
    std::optional<size_t> put_past(uint16_t sequence, int packets_ago);
    std::optional<size_t> put_stray(uint16_t sequence);
    std::optional<size_t> hold(uint16_t sequence);
    void give_up(int packets);
    void step();

    const RtpRules rules_;
    const size_t slots_;  // a power of two above the window; one more is for a stray packet
    Deliver deliver_ = nullptr;
    void* user_ = nullptr;
    Counts counts_;
    bool started_ = false;
    uint32_t ssrc_ = 0;
    uint16_t next_ = 0;                            // the packet to be delivered next
    uint16_t highest_ = 0;                         // the latest that has come
    std::bitset<kMostLate> history_;               // k: next_ - 1 - k has come
    std::bitset<size_t{2} * kMostWindow> filled_;  // slots
    bool strayed_ = false;                         // the packet before this one was far from next_
    uint16_t after_stray_ = 0;                     // the one that would confirm it
};

}  // namespace zv
