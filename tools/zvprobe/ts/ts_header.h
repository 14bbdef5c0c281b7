// SPDX-License-Identifier: MIT
// Fields of a packet's header and adaptation field (ISO/IEC 13818-1, 2.4.3.2 to 2.4.3.5). All take
// the 188 bytes of a packet.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace zvprobe {

using PacketBytes = std::span<const uint8_t, 188>;

constexpr uint16_t kPidPat = 0x0000;
constexpr uint16_t kPidCat = 0x0001;
constexpr uint16_t kPidNit = 0x0010;
constexpr uint16_t kPidSdt = 0x0011;
constexpr uint16_t kPidEit = 0x0012;
constexpr uint16_t kPidNull = 0x1FFF;
constexpr size_t kPidCount = 0x2000;

constexpr size_t kTsHeaderSize = 4;
constexpr uint8_t kCounterMask = 0x0F;
constexpr uint8_t kPidHighMask = 0x1F;
constexpr uint8_t kTransportError = 0x80;
constexpr uint8_t kPayloadUnitStart = 0x40;
constexpr uint8_t kScrambled = 0xC0;
constexpr uint8_t kHasAdaptationField = 0x20;
constexpr uint8_t kHasPayload = 0x10;

constexpr size_t kAdaptationFlagsAt = 5;
constexpr size_t kPcrAt = 6;
constexpr size_t kPcrSize = 6;
constexpr uint8_t kPcrFlag = 0x10;
constexpr uint8_t kDiscontinuityFlag = 0x80;

inline uint16_t pid_of(PacketBytes packet) {
    return static_cast<uint16_t>((packet[1] & kPidHighMask) << 8 | packet[2]);
}

inline void set_pid(std::span<uint8_t, 188> packet, uint16_t pid) {
    packet[1] = static_cast<uint8_t>((packet[1] & ~kPidHighMask) | pid >> 8);
    packet[2] = static_cast<uint8_t>(pid);
}

inline uint8_t counter_of(PacketBytes packet) {
    return packet[3] & kCounterMask;
}

inline void set_counter(std::span<uint8_t, 188> packet, uint8_t counter) {
    packet[3] = static_cast<uint8_t>((packet[3] & ~kCounterMask) | (counter & kCounterMask));
}

inline bool has_payload(PacketBytes packet) {
    return (packet[3] & kHasPayload) != 0;
}

// -> true when there is neither payload nor adaptation field, which no packet should say
inline bool is_empty(PacketBytes packet) {
    return (packet[3] & (kHasAdaptationField | kHasPayload)) == 0;
}

// -> bytes of the adaptation field with its length byte, at most what the packet has room for
inline size_t adaptation_size(PacketBytes packet) {
    if ((packet[3] & kHasAdaptationField) == 0) return 0;
    return std::min<size_t>(packet[kTsHeaderSize] + 1u, packet.size() - kTsHeaderSize);
}

inline bool has_pcr(PacketBytes packet) {
    return adaptation_size(packet) >= 2 + kPcrSize && (packet[kAdaptationFlagsAt] & kPcrFlag) != 0;
}

// -> what stands behind header and adaptation field
inline std::span<const uint8_t> payload_of(PacketBytes packet) {
    if (!has_payload(packet)) return {};
    return packet.subspan(kTsHeaderSize + adaptation_size(packet));
}

}  // namespace zvprobe
