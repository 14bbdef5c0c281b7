// SPDX-License-Identifier: MIT
// Implementation of packet_edit.h.
#include "ts/remap/packet_edit.h"

#include <algorithm>

#include "survey/packets/packet.h"

namespace zvprobe {
namespace {

using zv::kTsHeaderSize;
using zv::kTsPacketSize;
using zv::survey::kDiscontinuityFlag;
using zv::survey::kPcrField;
using zv::survey::kPcrFieldSize;

constexpr uint8_t kErrorAndStart = 0xC0;  // of the byte before the PID's last
constexpr uint8_t kUnitStart = 0x40;
constexpr uint8_t kScrambled = 0xC0;
constexpr uint8_t kHasAdaptationField = 0x20;
constexpr uint8_t kHasPayload = 0x10;
constexpr size_t kFlagsAt = 5;

}  // namespace

void set_pid(PacketBytes packet, uint16_t pid) {
    packet[1] = static_cast<uint8_t>((packet[1] & 0xE0) | pid >> 8);
    packet[2] = static_cast<uint8_t>(pid);
}

void set_counter(PacketBytes packet, uint8_t counter) {
    packet[3] = static_cast<uint8_t>((packet[3] & 0xF0) | (counter & 0x0F));
}

size_t payload_room(ConstPacketBytes packet) {
    return zv::payload_of(packet.data()).size();
}

void set_table_payload(PacketBytes packet, std::span<const uint8_t> payload, bool starts_unit) {
    packet[1] =
        static_cast<uint8_t>((packet[1] & ~kErrorAndStart) | (starts_unit ? kUnitStart : 0));
    packet[3] &= static_cast<uint8_t>(~kScrambled);
    const auto room = packet.last(payload_room(packet));
    const auto rest = std::copy(payload.begin(), payload.end(), room.begin());
    std::fill(rest, room.end(), uint8_t{0xFF});
}

void make_null(PacketBytes packet) {
    std::ranges::fill(packet, uint8_t{0xFF});
    packet[0] = zv::kTsSyncByte;
    packet[1] = zv::kPidNull >> 8;
    packet[3] = kHasPayload;
}

void empty(PacketBytes packet) {
    const auto size = static_cast<size_t>(zv::adaptation_size(packet.data()));
    if (size < 2 || packet[kFlagsAt] == 0) return make_null(packet);
    packet[1] &= static_cast<uint8_t>(~kErrorAndStart);
    packet[3] &= static_cast<uint8_t>(~(kScrambled | kHasPayload));
    packet[kTsHeaderSize] = kTsPacketSize - kTsHeaderSize - 1;
    std::ranges::fill(packet.subspan(kTsHeaderSize + size), uint8_t{0xFF});
}

// What follows the PCR moves up, stuffing fills the end.
void remove_pcr(PacketBytes packet) {
    const auto size = static_cast<size_t>(zv::adaptation_size(packet.data()));
    packet[kFlagsAt] &= static_cast<uint8_t>(~(zv::kPcrFlag | kDiscontinuityFlag));
    const auto field = packet.first(kTsHeaderSize + size).subspan(kPcrField);
    const auto rest = std::copy(field.begin() + kPcrFieldSize, field.end(), field.begin());
    std::fill(rest, field.end(), uint8_t{0xFF});
}

void make_pcr_packet(PacketBytes packet, ConstPacketBytes from, uint16_t pid) {
    make_null(packet);
    packet[1] = 0;
    set_pid(packet, pid);
    packet[3] = kHasAdaptationField;
    packet[kTsHeaderSize] = kTsPacketSize - kTsHeaderSize - 1;
    packet[kFlagsAt] = from[kFlagsAt] & (zv::kPcrFlag | kDiscontinuityFlag);
    std::copy_n(from.begin() + kPcrField, kPcrFieldSize, packet.begin() + kPcrField);
}

}  // namespace zvprobe
