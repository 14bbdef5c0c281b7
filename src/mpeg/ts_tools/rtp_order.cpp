// SPDX-License-Identifier: MIT
// What becomes of a packet by its distance from the one to be delivered next.
#include "mpeg/ts_tools/rtp_order.h"

#include <algorithm>
#include <cstring>

namespace zv {
namespace {

// From one sequence number to another, the short way round: -32768..32767.
int distance(uint16_t from, uint16_t to) {
    return static_cast<int16_t>(static_cast<uint16_t>(to - from));
}

}  // namespace

void RtpOrder::put(const RtpPacket& packet) {
    ++counts_.packets;
    if (!started_ || packet.ssrc != ssrc_) begin(packet);
    const int ahead = distance(next_, packet.sequence);
    if (ahead < 0) {
        put_past(packet, -ahead);
        return;
    }
    strayed_ = false;
    if (ahead > kWindow) give_up(ahead - kWindow);
    hold(packet);
    deliver_ready();
}

void RtpOrder::begin(const RtpPacket& packet) {
    flush();
    started_ = true;
    strayed_ = false;
    ssrc_ = packet.ssrc;
    next_ = highest_ = packet.sequence;
    history_ = 0;
}

// A packet whose turn is over. Far back it is late, but two in a row there are a sender that began
// anew under its old SSRC.
void RtpOrder::put_past(const RtpPacket& packet, int packets_ago) {
    if (packets_ago <= kHistory) {
        const uint64_t bit = uint64_t{1} << (packets_ago - 1);
        ++(history_ & bit ? counts_.repeated : counts_.late);
        history_ |= bit;
        return;
    }
    if (strayed_ && packet.sequence == after_stray_) {
        begin(packet);
        hold(packet);
        deliver_ready();
        return;
    }
    ++counts_.late;
    strayed_ = true;
    after_stray_ = static_cast<uint16_t>(packet.sequence + 1);
}

void RtpOrder::hold(const RtpPacket& packet) {
    Slot& to = slot(packet.sequence);
    if (to.filled) {  // by the same packet: no two within the window share a slot
        ++counts_.repeated;
        return;
    }
    if (distance(next_, packet.sequence) < distance(next_, highest_))
        ++counts_.reordered;
    else
        highest_ = packet.sequence;
    to.filled = true;
    to.size = static_cast<uint32_t>(std::min(packet.payload.size(), kMaxPayload));
    if (to.size > 0) memcpy(to.bytes, packet.payload.data(), to.size);
}

// Moves on by so many packets, whether they have come or not.
void RtpOrder::give_up(int packets) {
    const int looked_at = std::min(packets, kWindow + 1);  // nothing is held beyond these
    for (int i = 0; i < looked_at; ++i)
        step();
    const int rest = packets - looked_at;
    counts_.lost += static_cast<uint64_t>(rest);
    next_ = static_cast<uint16_t>(next_ + rest);
    history_ = rest < kHistory ? history_ << rest : 0;
}

void RtpOrder::deliver_ready() {
    while (slot(next_).filled)
        step();
}

void RtpOrder::flush() {
    if (!started_) return;
    const int held_up_to = distance(next_, highest_) + 1;
    for (int i = 0; i < held_up_to; ++i)
        step();
}

void RtpOrder::step() {
    Slot& from = slot(next_);
    if (from.filled && deliver_ != nullptr) deliver_(user_, {from.bytes, from.size});
    if (!from.filled) ++counts_.lost;
    history_ = (history_ << 1) | (from.filled ? 1 : 0);
    from.filled = false;
    ++next_;
}

}  // namespace zv
