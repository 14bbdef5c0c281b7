// SPDX-License-Identifier: MIT
// The fields of a transport packet (ISO/IEC 13818-1, 2.4.3): constants and readers that need no
// context, log nothing and link nothing. Everything that reads packets uses these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "bitStream/big_endian.h"

namespace zv {

constexpr uint8_t kTsSyncByte = 0x47;
constexpr int kTsPacketSize = 188;
constexpr int kTimeCodeSize = 4;
constexpr int kTimeCodedPacketSize = kTimeCodeSize + kTsPacketSize;  // the code comes first
constexpr int kParityPacketSize = 204;  // 16 bytes of Reed-Solomon parity after each packet
// The sizes that a stream may have. Ties go to the first.
inline constexpr int kPacketSizes[] = {kTsPacketSize, kTimeCodedPacketSize, kParityPacketSize};
constexpr int kTsHeaderSize = 4;
constexpr int kTsBodySize = kTsPacketSize - kTsHeaderSize;
constexpr int kPidCount = 8192;
constexpr uint16_t kPidPat = 0x0000;
constexpr uint16_t kPidCat = 0x0001;
constexpr uint16_t kPidNit = 0x0010;
constexpr uint16_t kPidSdt = 0x0011;
constexpr uint16_t kPidEit = 0x0012;
constexpr uint16_t kPidRst = 0x0013;
constexpr uint16_t kPidTdt = 0x0014;
constexpr uint16_t kLastReservedPid = 0x001F;  // EN 300 468, table 1
constexpr uint16_t kPidPsip = 0x1FFB;          // ATSC A/65
constexpr uint16_t kPidNull = 0x1FFF;
constexpr uint16_t kPidFirstValid = 0x0010;
constexpr uint16_t kPidLastValid = 0x1FFE;

// adaptation_field_control
constexpr uint8_t kAfcReserved = 0;
constexpr uint8_t kAfcPayloadOnly = 1;
constexpr uint8_t kAfcAdaptationOnly = 2;
constexpr uint8_t kAfcBoth = 3;

constexpr uint8_t kPcrFlag = 0x10;
constexpr int kMinAdaptationLengthWithPcr = 7;
constexpr int kMaxAdaptationFieldLength = 183;  // when the field fills the packet

// Does the adaptation field at af, packet byte 4, cover a PCR, and do its flags say that it has
// one? The PCR lies in the packet even where the length runs over its end.
inline bool covers_pcr(const uint8_t* af) {
    return af[0] >= kMinAdaptationLengthWithPcr && (af[1] & kPcrFlag);
}

// The same of a field that ends in its packet. The analyser takes no PCR of another; the survey
// does, so that the clock does not stop at a packet with one wrong byte.
inline bool adaptation_field_has_pcr(const uint8_t* af) {
    return af[0] <= kMaxAdaptationFieldLength && covers_pcr(af);
}

// -> bytes of the adaptation field at af with its length byte, no more than follow the header
inline int adaptation_field_size(const uint8_t* af) {
    return af[0] < kMaxAdaptationFieldLength ? af[0] + 1 : kTsBodySize;
}

// Asks the memory for the first two cache lines of a packet to come, where headers and tables are,
// so many bytes after `packet`. A prefetch never faults, so it may point past the input.
inline void prefetch_packet(const uint8_t* packet, uintptr_t ahead) {
    constexpr uintptr_t kCacheLine = 64;
    const uintptr_t at = reinterpret_cast<uintptr_t>(packet) + ahead;
    __builtin_prefetch(reinterpret_cast<const void*>(at));
    __builtin_prefetch(reinterpret_cast<const void*>(at + kCacheLine));
}

// A PID is the low 13 bits of the two bytes that it stands in.
constexpr uint16_t pid_in(uint16_t field) {
    return field & 0x1FFF;
}
inline uint16_t load_pid(const uint8_t* p) {
    return pid_in(load_be16(p));
}

// A packet's header as one big-endian word, for those who need only some of its fields.
struct HeaderWord {
    uint32_t word;

    bool in_sync() const { return word >> 24 == kTsSyncByte; }
    uint8_t transport_error_indicator() const { return (word >> 23) & 1; }
    uint8_t payload_unit_start_indicator() const { return (word >> 22) & 1; }
    uint16_t pid() const { return pid_in(static_cast<uint16_t>(word >> 8)); }
    uint8_t transport_scrambling_control() const { return (word >> 6) & 3; }
    uint8_t adaptation_field_control() const { return (word >> 4) & 3; }
    bool has_adaptation_field() const { return adaptation_field_control() & kAfcAdaptationOnly; }
    bool has_payload() const { return adaptation_field_control() & kAfcPayloadOnly; }
    uint8_t continuity_counter() const { return word & 15; }

    bool in_sync_with_payload_only() const {
        return (word & 0xFF000030) == (uint32_t{kTsSyncByte} << 24 | kAfcPayloadOnly << 4);
    }
    // Nothing but payload that goes on: no error, no unit start, not scrambled, no adaptation field.
    bool continues_payload() const { return (word & 0x00C000F0) == kAfcPayloadOnly << 4; }
};

// -> bytes between a packet's header and where its payload starts, or would
inline int adaptation_size(const uint8_t* packet, HeaderWord head) {
    return head.has_adaptation_field() ? adaptation_field_size(packet + kTsHeaderSize) : 0;
}
inline int adaptation_size(const uint8_t* packet) {
    return adaptation_size(packet, HeaderWord{load_be32(packet)});
}

// -> the payload of a packet; empty where it has none or its adaptation field leaves no room for it
inline std::span<const uint8_t> payload_of(const uint8_t* packet, HeaderWord head) {
    if (!head.has_payload()) return {};
    const int at = kTsHeaderSize + adaptation_size(packet, head);
    return {packet + at, static_cast<size_t>(kTsPacketSize - at)};
}
inline std::span<const uint8_t> payload_of(const uint8_t* packet) {
    return payload_of(packet, HeaderWord{load_be32(packet)});
}

// The PCR in 27 MHz ticks, from the six bytes of its field: a base of 33 bits in 90 kHz, six
// reserved bits, an extension of 9 bits.
inline uint64_t load_pcr(const uint8_t* field) {
    const uint64_t base = (static_cast<uint64_t>(load_be32(field)) << 1) | (field[4] >> 7);
    const uint64_t extension = load_be16(field + 4) & 0x1FF;
    return base * 300 + extension;
}

// The other way round; the reserved bits stay as they are.
inline void store_pcr(uint8_t* field, uint64_t ticks) {
    const uint64_t base = ticks / 300 & 0x1FFFFFFFF;
    const uint64_t extension = ticks % 300;
    for (int i = 0; i < 4; ++i)
        field[i] = static_cast<uint8_t>(base >> (25 - 8 * i));
    field[4] = static_cast<uint8_t>((base & 1) << 7 | (field[4] & 0x7E) | extension >> 8);
    field[5] = static_cast<uint8_t>(extension);
}

}  // namespace zv
