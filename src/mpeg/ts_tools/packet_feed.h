// SPDX-License-Identifier: MIT
// Cuts bytes that come in pieces of any size into runs of whole packets: carries partial packets
// over, finds the first sync and the packet size, after a lost sync the next one, and counts what
// it had to skip. What the packets hold is the caller's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg/ts_packet/ts_packet.h"

namespace zv {

// Used as: append, next until it has nothing more, append, ... finish, next until nothing.
class PacketFeed {
  public:
    static constexpr size_t kMaxPiece = 65536;

    struct Counts {
        uint64_t packets = 0;
        uint64_t skipped_bytes = 0;  // that belong to no packet
        uint64_t sync_losses = 0;
    };

    // Takes a piece of at most kMaxPiece bytes.
    void append(std::span<const uint8_t> piece);

    // No more pieces will come, so what is left is judged as it stands. A last packet that lacks
    // only its time code or parity is completed with zeros.
    void finish();

    // -> packets that follow each other, valid until append; empty when more bytes are needed
    std::span<const uint8_t> next();

    uint8_t packet_size() const { return static_cast<uint8_t>(packet_size_); }
    const Counts& counts() const { return counts_; }

  private:
    // A start counts when two more follow at the packet size's distance: a stray sync byte passes
    // once in 65536 times.
    static constexpr size_t kStartsToLock = 3;
    static constexpr size_t kMaxCarry = kStartsToLock * kParityPacketSize;

    enum class Verdict { kStart, kNoStart, kNeedsMore };

    size_t available() const { return end_ - begin_; }
    Verdict judge(size_t at, size_t packet_size) const;
    Verdict judge_any_size(size_t at);
    bool lock();
    size_t whole_packets() const;
    bool complete_last_packet();
    void compact();
    void skip(size_t bytes);

    size_t packet_size_ = 0;  // 0 until the first lock, then fixed
    bool locked_ = false;
    bool finished_ = false;
    Counts counts_;
    size_t begin_ = 0;
    size_t end_ = 0;
    uint8_t bytes_[kMaxCarry + kMaxPiece];
};

}  // namespace zv
