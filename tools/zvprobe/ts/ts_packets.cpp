// SPDX-License-Identifier: MIT
// Implementation of ts_packets.h.
#include "ts/ts_packets.h"

#include <algorithm>

namespace zvprobe {

TsPackets::TsPackets(Source& source, std::span<const uint8_t> window, const SyncPoint& first)
    : source_(source),
      window_(window),
      packet_size_(first.packet_size),
      time_code_size_(first.packet_size == kTimedPacketSize ? kTimeCodeSize : 0) {
    pass(first.offset);
}

void TsPackets::pass(size_t count) {
    at_ += count;
    bytes_ += count;
}

// The time code in front of the next packet is kept, too. -> false when nothing follows
bool TsPackets::refill() {
    if (source_.at_end()) return false;
    const size_t before = std::min(at_, time_code_size_);
    window_ = source_.next(available() + before);
    at_ = before;
    return true;
}

// Out of sync a sync byte is no start until the ones after it are seen, which may take the next
// window.
// -> true with at_ at the start of a packet, false when more bytes are needed
bool TsPackets::find_start() {
    if (in_sync_ && available() == 0) return false;
    if (in_sync_ && window_[at_] == kSyncByte) return true;
    const Resync next = find_next_packet(window_, at_, packet_size_, source_.at_end());
    pass(next.offset - at_);
    in_sync_ = next.found;
    return in_sync_;
}

// The time code of the next packet is waited for as well: the step to it must not end before that.
bool TsPackets::next(TsPacket& packet) {
    while (!find_start() || available() < packet_size_) {
        if (refill()) continue;
        if (available() < kPacketSize || window_[at_] != kSyncByte) return false;
        break;
    }
    const size_t before = std::min(at_, time_code_size_);
    const size_t parity = std::min(available(), packet_size_ - time_code_size_) - kPacketSize;
    packet.time_code = window_.subspan(at_ - before, before);
    packet.body = window_.subspan(at_, kPacketSize);
    packet.parity = window_.subspan(at_ + kPacketSize, parity);
    pass(std::min(packet_size_, available()));
    return true;
}

}  // namespace zvprobe
