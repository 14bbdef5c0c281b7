// SPDX-License-Identifier: MIT
// Implementation of packet_reader.h.
#include "ts/packet_reader.h"

#include <algorithm>

namespace zvprobe {
namespace {

using zv::Framer;

constexpr size_t kParitySize = zv::kParityPacketSize - zv::kTsPacketSize;

}  // namespace

bool PacketReader::next() {
    while (run_left_ == 0) {
        if (!step()) return false;
    }
    packet_at_ = next_at_;
    next_at_ += framer_.counts().packet_size;
    --run_left_;
    return true;
}

FramedPacket PacketReader::packet() const {
    const size_t size = framer_.counts().packet_size;
    const size_t before =
        size == zv::kTimeCodedPacketSize ? std::min<size_t>(packet_at_, zv::kTimeCodeSize) : 0;
    const size_t after = size == zv::kParityPacketSize ? kParitySize : 0;
    return {window_.subspan(packet_at_ - before, before),
            window_.subspan(packet_at_).first<zv::kTsPacketSize>(),
            window_.subspan(packet_at_ + zv::kTsPacketSize, after)};
}

// -> false at the end
bool PacketReader::step() {
    const Framer::Step step = framer_.next(window_.subspan(at_), source_.at_end());
    if (step.what == Framer::What::kNeedsMore) return refill();
    if (step.what == Framer::What::kPackets) {
        next_at_ = at_;
        run_left_ = step.count;
    }
    at_ += step.taken;
    return true;
}

// A time code that was taken with the packet before it is still needed.
bool PacketReader::refill() {
    if (source_.at_end()) return false;
    const size_t before = std::min<size_t>(at_, zv::kTimeCodeSize);
    window_ = source_.next(window_.size() - at_ + before);
    at_ = before;
    return true;
}

}  // namespace zvprobe
