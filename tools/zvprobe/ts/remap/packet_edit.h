// SPDX-License-Identifier: MIT
// Changes to the 188 bytes of a packet (ISO/IEC 13818-1, 2.4.3): the header's fields, the PCR, and
// packets that carry nothing.
#pragma once

#include <cstdint>
#include <span>

#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {

using PacketBytes = std::span<uint8_t, zv::kTsPacketSize>;
using ConstPacketBytes = std::span<const uint8_t, zv::kTsPacketSize>;

void set_pid(PacketBytes packet, uint16_t pid);
void set_counter(PacketBytes packet, uint8_t counter);

// -> bytes between the packet's header and its end that the adaptation field leaves
size_t payload_room(ConstPacketBytes packet);

// Writes a payload into the room for one, of tables in the clear; 0xFF follows it.
// starts_unit: it begins with a pointer_field
void set_table_payload(PacketBytes packet, std::span<const uint8_t> payload, bool starts_unit);

void make_null(PacketBytes packet);

// Takes the payload out of a packet. What the adaptation field says stays; a packet that says
// nothing there becomes a null packet.
void empty(PacketBytes packet);

// Takes the PCR out of an adaptation field that has one.
void remove_pcr(PacketBytes packet);

// Makes a packet that carries nothing but the PCR of another one.
void make_pcr_packet(PacketBytes packet, ConstPacketBytes from, uint16_t pid);

}  // namespace zvprobe
