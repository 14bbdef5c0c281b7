// SPDX-License-Identifier: MIT
// Implementation of rtp_stream.h.
#include "io/rtp_stream.h"

#include <algorithm>
#include <utility>

namespace zvprobe {
namespace {

// As RFC 3550, A.1: more packets are not lost at once, it is the sender that began anew.
constexpr int kMostAhead = 3000;

zv::RtpRules rules_for(const RtpWindow& window) {
    return {window.packets, kMostAhead, zv::RtpSequence::kMostLate, true};
}

}  // namespace

RtpStream::RtpStream(const RtpWindow& window, Take take)
    : most_wait_(window.time_ms),
      take_(std::move(take)),
      sequence_(rules_for(window)),
      held_(sequence_.slots()) {
    sequence_.deliver_to(deliver, this);
}

void RtpStream::deliver(void* self, size_t slot) {
    auto& stream = *static_cast<RtpStream*>(self);
    stream.delivered_ = true;
    if (!stream.held_[slot].bytes.empty()) stream.take_(stream.held_[slot].bytes);
}

// Of the types that senders and receivers agree upon, the one that has carried whole packets does;
// others carry what accompanies it.
bool RtpStream::carries_packets(const zv::RtpPacket& packet) const {
    if (packet.payload_type == zv::kRtpTransportStream) return true;
    if (packet.payload_type < zv::kFirstDynamicType) return false;
    return packet.payload_type == counts_.payload_type || zv::is_whole_packets(packet.payload);
}

void RtpStream::put(std::span<const uint8_t> datagram, Time now) {
    if (framing_ == Framing::kUnknown && zv::is_whole_packets(datagram)) framing_ = Framing::kPlain;
    if (framing_ == Framing::kPlain) return take_(datagram);
    if (zv::is_rtcp(datagram)) {
        ++counts_.rtcp;
    } else if (const auto packet = zv::parse_rtp(datagram); !packet) {
        ++counts_.bad;
    } else if (!carries_packets(*packet)) {
        ++counts_.other;
    } else {
        put_in_order(*packet, now);
    }
    tick(now);
}

void RtpStream::put_in_order(const zv::RtpPacket& packet, Time now) {
    framing_ = Framing::kRtp;
    counts_.payload_type = packet.payload_type;
    if (const auto slot = sequence_.put(packet.sequence, packet.ssrc)) {
        held_[*slot].since = now;
        held_[*slot].bytes.assign(packet.payload.begin(), packet.payload.end());
        if (!packet.payload.empty() && !zv::is_whole_packets(packet.payload)) ++counts_.unaligned;
    }
    sequence_.deliver_ready();
    look_for_gap();
}

// Only what is delivered can change which of those held came first.
void RtpStream::look_for_gap() {
    if (gap_since_ && !std::exchange(delivered_, false)) return;
    gap_since_.reset();
    for (int ahead = 0; ahead < sequence_.waiting(); ++ahead) {
        const auto slot = sequence_.held(ahead);
        if (slot)
            gap_since_ = std::min(gap_since_.value_or(held_[*slot].since), held_[*slot].since);
    }
}

void RtpStream::tick(Time now) {
    while (gap_since_ && now - *gap_since_ >= most_wait_) {
        sequence_.give_up_gap();
        look_for_gap();
    }
}

RtpCounts RtpStream::counts() const {
    RtpCounts counts = counts_;
    static_cast<zv::RtpSequence::Counts&>(counts) = sequence_.counts();
    return counts;
}

}  // namespace zvprobe
