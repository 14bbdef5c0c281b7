// SPDX-License-Identifier: MIT
// RTP payloads back in the order of their sequence numbers: keeps those of packets that came early.
// RtpSequence decides what is held and what is dropped.
#pragma once

#include <cstdint>
#include <span>

#include "rtp/rtp_header.h"
#include "rtp/rtp_sequence.h"

namespace zv {

class RtpOrder {
  public:
    using Counts = RtpSequence::Counts;

    RtpOrder() { sequence_.deliver_to(pass_on, this); }
    RtpOrder(const RtpOrder&) = delete;
    RtpOrder& operator=(const RtpOrder&) = delete;

    // Receives the payloads in order; the bytes last for the call.
    using Deliver = void (*)(void* user, std::span<const uint8_t> payload);

    void deliver_to(Deliver deliver, void* user) {
        deliver_ = deliver;
        user_ = user;
    }

    // Delivers none, one or several payloads.
    void put(const RtpPacket& packet);

    // Delivers what is still held.
    void flush() { sequence_.flush(); }

    const Counts& counts() const { return sequence_.counts(); }

  private:
    static constexpr size_t kSlots = 33;  // those of a window of 16
    static constexpr size_t kMaxPayload = 65536;

    struct Slot {
        uint32_t size;
        uint8_t bytes[kMaxPayload];
    };

    static void pass_on(void* self, size_t slot);

    Deliver deliver_ = nullptr;
    void* user_ = nullptr;
    RtpSequence sequence_{RtpRules{}};
    Slot slots_[kSlots];
};

}  // namespace zv
