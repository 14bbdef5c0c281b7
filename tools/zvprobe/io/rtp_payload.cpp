// SPDX-License-Identifier: MIT
// Implementation of rtp_payload.h.
#include "io/rtp_payload.h"

namespace zvprobe {
namespace {

constexpr uint8_t kVersion = 2;
constexpr uint8_t kPaddingBit = 0x20;
constexpr uint8_t kExtensionBit = 0x10;
constexpr size_t kFixedSize = 12;
constexpr size_t kWordSize = 4;

}  // namespace

std::span<const uint8_t> rtp_payload(std::span<const uint8_t> datagram) {
    if (datagram.size() < kFixedSize || datagram[0] >> 6 != kVersion) return datagram;
    size_t begin = kFixedSize + (datagram[0] & 0x0F) * kWordSize;
    if (datagram[0] & kExtensionBit) {
        if (datagram.size() < begin + kWordSize) return datagram;
        const size_t words = static_cast<size_t>(datagram[begin + 2] << 8 | datagram[begin + 3]);
        begin += kWordSize + words * kWordSize;
    }
    const size_t padding = datagram[0] & kPaddingBit ? datagram.back() : 0;
    if (datagram.size() < begin + padding) return datagram;
    return datagram.subspan(begin, datagram.size() - begin - padding);
}

}  // namespace zvprobe
