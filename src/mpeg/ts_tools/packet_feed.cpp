// SPDX-License-Identifier: MIT
// Where a run of packets begins and where it ends, judged by the sync bytes.
#include "mpeg/ts_tools/packet_feed.h"

#include <algorithm>
#include <cstring>

namespace zv {

void PacketFeed::append(std::span<const uint8_t> piece) {
    compact();
    const size_t size = std::min(piece.size(), sizeof bytes_ - end_);
    memcpy(bytes_ + end_, piece.data(), size);
    end_ += size;
}

void PacketFeed::finish() {
    compact();
    finished_ = true;
}

std::span<const uint8_t> PacketFeed::next() {
    while (locked_ || lock()) {
        const size_t size = whole_packets();
        if (size > 0) {
            const std::span<const uint8_t> run(bytes_ + begin_, size);
            counts_.packets += size / packet_size_;
            begin_ += size;
            return run;
        }
        if (available() < packet_size_) {
            if (finished_ && complete_last_packet()) continue;
            break;
        }
        ++counts_.sync_losses;
        locked_ = false;
    }
    if (finished_) skip(available());
    return {};
}

size_t PacketFeed::whole_packets() const {
    size_t at = begin_;
    while (end_ - at >= packet_size_ && bytes_[at] == kTsSyncByte)
        at += packet_size_;
    return at - begin_;
}

// -> true with begin_ at a packet's start; false when more bytes are needed
bool PacketFeed::lock() {
    const bool first_time = packet_size_ == 0;
    for (size_t at = begin_;; ++at) {
        const void* found = at < end_ ? memchr(bytes_ + at, kTsSyncByte, end_ - at) : nullptr;
        if (found == nullptr) {
            skip(available());
            return false;
        }
        at = static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes_);
        const Verdict verdict = first_time ? judge_any_size(at) : judge(at, packet_size_);
        if (verdict == Verdict::kNoStart) continue;
        skip(at - begin_);
        if (verdict == Verdict::kNeedsMore) return false;
        break;
    }
    // The time code in front of the first packet is part of the format, not lost.
    if (first_time && packet_size_ == kTimeCodedPacketSize) {
        constexpr uint64_t kTimeCodeSize = kTimeCodedPacketSize - kTsPacketSize;
        counts_.skipped_bytes -= std::min(counts_.skipped_bytes, kTimeCodeSize);
    }
    locked_ = true;
    return true;
}

PacketFeed::Verdict PacketFeed::judge(size_t at, size_t packet_size) const {
    if (finished_ && end_ - at < kTsPacketSize) return Verdict::kNoStart;
    for (size_t i = 1; i < kStartsToLock; ++i) {
        const size_t start = at + i * packet_size;
        if (start >= end_) return finished_ ? Verdict::kStart : Verdict::kNeedsMore;
        if (bytes_[start] != kTsSyncByte) return Verdict::kNoStart;
    }
    return Verdict::kStart;
}

PacketFeed::Verdict PacketFeed::judge_any_size(size_t at) {
    for (const int packet_size : kPacketSizes) {
        const auto size = static_cast<size_t>(packet_size);
        const Verdict verdict = judge(at, size);
        if (verdict == Verdict::kStart) packet_size_ = size;
        if (verdict != Verdict::kNoStart) return verdict;
    }
    return Verdict::kNoStart;
}

bool PacketFeed::complete_last_packet() {
    if (available() < kTsPacketSize || bytes_[begin_] != kTsSyncByte) return false;
    const size_t missing = packet_size_ - available();
    memset(bytes_ + end_, 0, missing);
    end_ += missing;
    return true;
}

void PacketFeed::compact() {
    memmove(bytes_, bytes_ + begin_, available());
    end_ = available();
    begin_ = 0;
}

void PacketFeed::skip(size_t bytes) {
    counts_.skipped_bytes += bytes;
    begin_ += bytes;
}

}  // namespace zv
