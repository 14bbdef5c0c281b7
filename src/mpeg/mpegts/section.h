// SPDX-License-Identifier: MIT
// What the table filters share: bounded reads of a packet's body, the section head, and the CRC of
// a section that fits one packet (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>

#include "mpeg/mpegts/context.h"

namespace zv {

// The 184 bytes behind a packet header. What lies beyond does not exist and reads as zero.
class PacketBody {
  public:
    explicit PacketBody(const uint8_t* body) : body_(body) {}

    uint8_t u8(int at) const { return at < kTsBodySize ? body_[at] : uint8_t{0}; }
    uint16_t be16(int at) const { return static_cast<uint16_t>((u8(at) << 8) | u8(at + 1)); }
    uint16_t be13(int at) const { return be16(at) & 0x1FFF; }
    uint16_t be12(int at) const { return be16(at) & 0x0FFF; }
    uint32_t be32(int at) const { return (static_cast<uint32_t>(be16(at)) << 16) | be16(at + 2); }

  private:
    const uint8_t* body_;
};

// A section that starts and ends in one packet, as the analyser takes it: pointer_field 0 right
// behind the adaptation field.
struct OnePacketSection {
    int adaptation_len;  // bytes of the body before the pointer field
    int section_length;

    int sum() const { return section_length + adaptation_len; }
    int crc_at() const { return sum(); }  // body offset of CRC_32
    int table_id_at() const { return adaptation_len + 1; }
};

constexpr int kMaxSectionSum = kTsBodySize;

// Logs and returns false when the section cannot lie in one packet.
bool fits_one_packet(const OnePacketSection& section);

struct SectionCrc {
    uint32_t stored;
    uint32_t computed;
    bool comparable;  // it covers something and all four stored bytes lie in the packet

    bool good() const { return comparable && stored == computed; }
};

// section must fit one packet.
SectionCrc section_crc(const uint8_t* body, const OnePacketSection& section);

// Logs a CRC_32 that does not match.
void report_bad_crc(const SectionCrc& crc);

}  // namespace zv
