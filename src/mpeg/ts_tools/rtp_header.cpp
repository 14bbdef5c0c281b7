// SPDX-License-Identifier: MIT
// Where each part of the head lies, and that none runs out of the datagram.
#include "mpeg/ts_tools/rtp_header.h"

#include "mpeg/ts_packet/ts_packet.h"

namespace zv {
namespace {

constexpr uint8_t kVersion = 2;
constexpr uint8_t kPaddingBit = 0x20;
constexpr uint8_t kExtensionBit = 0x10;
constexpr uint8_t kCsrcCountMask = 0x0F;
constexpr size_t kFixedSize = 12;
constexpr size_t kCsrcSize = 4;
constexpr size_t kExtensionHeadSize = 4;
constexpr size_t kExtensionWordSize = 4;

// -> bytes of padding, its own count included; more than there are when the count is wrong
size_t padding_of(std::span<const uint8_t> payload) {
    if (payload.empty() || payload.back() == 0) return payload.size() + 1;
    return payload.back();
}

}  // namespace

std::optional<RtpPacket> parse_rtp(std::span<const uint8_t> datagram) {
    if (datagram.size() < kFixedSize || datagram[0] >> 6 != kVersion) return std::nullopt;
    const uint8_t flags = datagram[0];
    size_t head = kFixedSize + (flags & kCsrcCountMask) * kCsrcSize;
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
    return RtpPacket{load_be16(datagram.data() + 2), load_be32(datagram.data() + 8), payload};
}

}  // namespace zv
