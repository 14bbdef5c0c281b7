// SPDX-License-Identifier: MIT
// The head of an RTP datagram (RFC 3550, 5.1): which sequence number it has and where its payload
// lies, after CSRC list and header extension and before padding.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace zv {

struct RtpPacket {
    uint16_t sequence;
    uint32_t ssrc;
    std::span<const uint8_t> payload;  // of the datagram; may be empty
};

// -> nothing when it is not RTP version 2 or claims more than the datagram holds
std::optional<RtpPacket> parse_rtp(std::span<const uint8_t> datagram);

}  // namespace zv
