// SPDX-License-Identifier: MIT
// The head of an RTP datagram (RFC 3550, 5.1), read and written: its fields, and where the payload
// lies, after CSRC list and header extension and in front of padding. And what tells datagrams with
// such a head from those without.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace zv {

// Payload types (RFC 3551): a transport stream has one of its own; others may be agreed upon.
constexpr uint8_t kRtpTransportStream = 33;
constexpr uint8_t kFirstDynamicType = 96;
constexpr uint32_t kRtpHz = 90'000;  // of the time stamps of a transport stream (RFC 2250, 2)

constexpr size_t kRtpHeadSize = 12;  // without CSRC list and header extension

// The first datagram that is one or the other decides how those of its source are framed.
enum class DatagramFraming {
    kUnknown,
    kRtp,
    kPlain,  // packets of a transport stream, without RTP
};

// -> true when the bytes are whole packets of a transport stream, as in datagrams (RFC 2250, 2)
bool is_whole_packets(std::span<const uint8_t> bytes);

struct RtpPacket {
    uint16_t sequence;
    uint32_t ssrc;
    std::span<const uint8_t> payload;  // of the datagram; may be empty
    uint8_t payload_type = kRtpTransportStream;
    uint32_t time_stamp = 0;
};

// -> nothing when it is not RTP version 2 or claims more than the datagram holds
std::optional<RtpPacket> parse_rtp(std::span<const uint8_t> datagram);

// RTCP may come on the port of RTP: its packet types lie where RTP has the marker bit and a payload
// type of 64 to 95, which RTP leaves free for that (RFC 5761, 4).
bool is_rtcp(std::span<const uint8_t> datagram);

// -> the head of a packet without CSRC list, header extension and padding
std::array<uint8_t, kRtpHeadSize> make_rtp_head(const RtpPacket& packet);

}  // namespace zv
