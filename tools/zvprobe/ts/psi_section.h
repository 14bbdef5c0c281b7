// SPDX-License-Identifier: MIT
// Sections as they lie in packets (ISO/IEC 13818-1, 2.4.4), for commands that put others in their
// place. What a table says in full is the library's to find out.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "ts/table_builder.h"
#include "ts/ts_header.h"

namespace zvprobe {

constexpr uint8_t kTableIdPat = 0x00;
constexpr uint8_t kTableIdPmt = 0x02;
constexpr uint8_t kTableIdSdt = 0x42;
constexpr uint8_t kTableIdStuffing = 0x72;  // a section of nothing, without a CRC
constexpr uint8_t kTableStuffing = 0xFF;    // stands where no section follows

// A section in force that begins in a packet.
struct PsiSection {
    uint8_t table_id;
    uint16_t id;                     // table_id_extension, such as the programme number of a PMT
    std::span<const uint8_t> bytes;  // from table_id on, cut at the end of the packet
    bool whole;                      // nothing is cut, and the CRC is right

    // -> what stands between the eight bytes of the header and the CRC
    std::span<const uint8_t> contents() const;
};

// -> the sections that begin in the packet, those for the future left out
std::vector<PsiSection> sections_in(PacketBytes packet);

// The programmes of a whole PAT section; number 0 stands for the network PID.
std::vector<ProgramEntry> read_pat(const PsiSection& section);

struct PmtOutline {
    size_t streams = 0;
    size_t program_info_size = 0;  // bytes of descriptors about the whole programme
    size_t longest_es_info = 0;
};

// What a whole PMT section holds.
PmtOutline read_pmt_outline(const PsiSection& section);

}  // namespace zvprobe
