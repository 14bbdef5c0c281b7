// SPDX-License-Identifier: MIT
// Where each part of the head lies, and that none runs out of the datagram.
#include "rtp/rtp_header.h"

#include <algorithm>

#include "mpeg/ts_packet/packet_fields.h"

namespace zv {
namespace {

constexpr uint8_t kVersion = 2;
constexpr uint8_t kPaddingBit = 0x20;
constexpr uint8_t kExtensionBit = 0x10;
constexpr uint8_t kCsrcCountMask = 0x0F;
constexpr size_t kCsrcSize = 4;
constexpr size_t kExtensionHeadSize = 4;
constexpr size_t kExtensionWordSize = 4;
constexpr uint8_t kPayloadTypeMask = 0x7F;
constexpr uint8_t kFirstRtcpType = 192;
constexpr uint8_t kLastRtcpType = 223;

bool is_version_2(std::span<const uint8_t> datagram) {
    return !datagram.empty() && datagram[0] >> 6 == kVersion;
}

// -> bytes of padding, its own count included; more than there are when the count is wrong
size_t padding_of(std::span<const uint8_t> payload) {
    if (payload.empty() || payload.back() == 0) return payload.size() + 1;
    return payload.back();
}

// A time code may begin like a head of RTP, which may have a sync byte's value where the first
// packet would have one: each packet must have its own.
bool is_time_coded_packets(std::span<const uint8_t> bytes) {
    if (bytes.size() % kTimeCodedPacketSize != 0) return false;
    for (size_t at = kTimeCodeSize; at < bytes.size(); at += kTimeCodedPacketSize)
        if (bytes[at] != kTsSyncByte) return false;
    return true;
}

}  // namespace

bool is_whole_packets(std::span<const uint8_t> bytes) {
    if (bytes.empty()) return false;
    if (bytes[0] != kTsSyncByte) return is_time_coded_packets(bytes);
    return std::ranges::any_of(kPacketSizes, [&](size_t size) { return bytes.size() % size == 0; });
}

std::optional<RtpPacket> parse_rtp(std::span<const uint8_t> datagram) {
    if (datagram.size() < kRtpHeadSize || !is_version_2(datagram)) return std::nullopt;
    const uint8_t flags = datagram[0];
    size_t head = kRtpHeadSize + (flags & kCsrcCountMask) * kCsrcSize;
    if (flags & kExtensionBit) {
        if (datagram.size() < head + kExtensionHeadSize) return std::nullopt;
        const uint16_t words = load_be16(datagram.data() + head + 2);
        head += kExtensionHeadSize + words * kExtensionWordSize;
    }
    if (datagram.size() < head) return std::nullopt;
    std::span<const uint8_t> payload = datagram.subspan(head);
    if (flags & kPaddingBit) {
        const size_t padding = padding_of(payload);
        if (padding > payload.size()) return std::nullopt;
        payload = payload.first(payload.size() - padding);
    }
    return RtpPacket{load_be16(datagram.data() + 2), load_be32(datagram.data() + 8), payload,
                     static_cast<uint8_t>(datagram[1] & kPayloadTypeMask),
                     load_be32(datagram.data() + 4)};
}

bool is_rtcp(std::span<const uint8_t> datagram) {
    return datagram.size() >= 4 && is_version_2(datagram) && datagram[1] >= kFirstRtcpType &&
           datagram[1] <= kLastRtcpType;
}

std::array<uint8_t, kRtpHeadSize> make_rtp_head(const RtpPacket& packet) {
    std::array<uint8_t, kRtpHeadSize> head = {kVersion << 6, packet.payload_type};
    store_big_endian(std::span(head).subspan(2, 2), packet.sequence);
    store_big_endian(std::span(head).subspan(4, 4), packet.time_stamp);
    store_big_endian(std::span(head).subspan(8, 4), packet.ssrc);
    return head;
}

}  // namespace zv
