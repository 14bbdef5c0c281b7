// SPDX-License-Identifier: MIT
// Implementation of ts_packets.h.
#include "ts_packets.h"

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

// -> true with at_ at a sync byte, false when more bytes are needed
bool TsPackets::find_start() {
    if (available() > 0 && window_[at_] == kSyncByte) return true;
    const Resync next = find_next_packet(window_, at_, packet_size_, source_.at_end());
    pass(next.offset - at_);
    return next.found;
}

bool TsPackets::next(TsPacket& packet) {
    const size_t wanted = packet_size_ - time_code_size_;
    while (!find_start() || available() < wanted) {
        if (refill()) continue;
        if (available() < kPacketSize || window_[at_] != kSyncByte) return false;
        break;
    }
    const size_t before = std::min(at_, time_code_size_);
    const size_t parity = std::min(available(), wanted) - kPacketSize;
    packet.time_code = window_.subspan(at_ - before, before);
    packet.body = window_.subspan(at_, kPacketSize);
    packet.parity = window_.subspan(at_ + kPacketSize, parity);
    pass(std::min(packet_size_, available()));
    return true;
}

}  // namespace zvprobe
