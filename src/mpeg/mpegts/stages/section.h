// SPDX-License-Identifier: MIT
// What the table filters share: bounded reads of a section's bytes, the section head, and the CRC
// of a section that fits one packet (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>

#include "mpeg/mpegts/context.h"

namespace zv {

// Size bytes that hold a section or a part of it. What lies beyond does not exist, reads as zero.
template <int Size>
class SectionBytes {
  public:
    explicit SectionBytes(const uint8_t* bytes) : bytes_(bytes) {}

    bool has(int at, int count) const { return at >= 0 && at + count <= Size; }
    const uint8_t* at(int offset) const { return bytes_ + offset; }

    uint8_t u8(int at) const { return has(at, 1) ? bytes_[at] : uint8_t{0}; }
    uint16_t be16(int at) const { return static_cast<uint16_t>((u8(at) << 8) | u8(at + 1)); }
    uint16_t pid(int at) const { return pid_in(be16(at)); }
    uint16_t be12(int at) const { return be16(at) & 0x0FFF; }
    uint32_t be32(int at) const { return (static_cast<uint32_t>(be16(at)) << 16) | be16(at + 2); }

    // Does a section of the table start here? Its section_syntax_indicator is set.
    bool starts_table(int at, uint8_t table_id) const {
        return u8(at) == table_id && (u8(at + 1) & 0x80);
    }

  private:
    const uint8_t* bytes_;
};

using PacketBody = SectionBytes<kTsBodySize>;          // what follows a packet's header
using GatheredSection = SectionBytes<kSdtBufferSize>;  // bodies of several packets, one by one

// The longest adaptation field that leaves room for a table_id and the byte after it.
constexpr int kMaxAdaptationLen = kTsBodySize - 2;

// Opens the messages about tables that the filters cannot take; hosts look for it.
inline constexpr char kProductTag[] = "quenvale";

// A section that starts and ends in one packet, as the analyser takes it: pointer_field 0 right
// after the adaptation field.
struct OnePacketSection {
    int adaptation_len;  // bytes of the body before the pointer field
    int section_length;

    int sum() const { return section_length + adaptation_len; }
    int crc_at() const { return sum(); }  // body offset of CRC_32
    int table_id_at() const { return adaptation_len + 1; }
};

// The section whose table_id stands at offset `start` of the body of the packet whose header is in ctx.
OnePacketSection one_packet_section(const MPEGTSContext& ctx, const uint8_t* body, int start);

// Logs and returns false when the section cannot lie in one packet.
bool fits_one_packet(const OnePacketSection& section);

struct SectionCrc {
    uint32_t stored;
    uint32_t computed;
    bool comparable;  // it covers something and all four stored bytes lie in the packet

    bool good() const { return comparable && stored == computed; }
};

// CRC_32 of bytes from a table_id on; that of no bytes when there are none.
uint32_t crc_of_section(const uint8_t* table_id, int size);

// section must fit one packet.
SectionCrc section_crc(const uint8_t* body, const OnePacketSection& section);

// Logs a CRC_32 that does not match.
void report_bad_crc(const SectionCrc& crc);

}  // namespace zv
