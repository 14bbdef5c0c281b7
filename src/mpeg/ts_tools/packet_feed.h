// SPDX-License-Identifier: MIT
// Cuts bytes that come in pieces of any size into runs of whole packets: keeps what a Framer needs
// of one piece until the next one comes. What the packets hold is the caller's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg/ts_packet/framing.h"

namespace zv {

// Used as: append, next until it has nothing more, append, ... finish, next until nothing.
class PacketFeed {
  public:
    static constexpr size_t kMaxPiece = 65536;

    struct Counts {
        uint64_t packets = 0;
        uint64_t skipped_bytes = 0;  // that belong to no packet
        uint64_t sync_losses = 0;    // two places in a row without a sync byte
    };

    // Takes a piece of at most kMaxPiece bytes.
    void append(std::span<const uint8_t> piece);

    // No more pieces will come, so what is left is judged as it stands. A last packet after which a
    // time code is missing is completed with zeros.
    void finish() { finished_ = true; }

    // -> packets that follow each other, valid until append; empty when more bytes are needed
    std::span<const uint8_t> next();

    uint8_t packet_size() const { return static_cast<uint8_t>(framer_.counts().packet_size); }
    Counts counts() const;

  private:
    Framer framer_;
    bool finished_ = false;
    size_t begin_ = 0;
    size_t end_ = 0;
    uint8_t bytes_[Framer::kLookAhead + kMaxPiece];
};

}  // namespace zv
