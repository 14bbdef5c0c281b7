// SPDX-License-Identifier: MIT
// The payload of an RTP datagram (RFC 3550, 5.1), for readers that take datagrams as they come.
#pragma once

#include <cstdint>
#include <span>

namespace zvprobe {

// Looks behind the fixed header, CSRC list and header extension, and in front of padding.
// -> the payload; the whole datagram when it is no sound RTP version 2
std::span<const uint8_t> rtp_payload(std::span<const uint8_t> datagram);

}  // namespace zvprobe
