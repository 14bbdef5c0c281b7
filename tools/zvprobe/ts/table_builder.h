// SPDX-License-Identifier: MIT
// Tables of one packet, made with the library's builders, and the size check that they leave out.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "mpeg/ts_packet/packet_fields.h"
#include "mpegts.h"

namespace zvprobe {

using Packet = std::array<uint8_t, zv::kTsPacketSize>;

struct ProgramEntry {
    uint16_t program_number;
    uint16_t pmt_pid;
};

struct PmtContent {
    uint16_t program_number;
    uint16_t pmt_pid;
    uint16_t pcr_pid;
    std::vector<MPEGTSStream> streams;
};

struct ServiceText {
    uint16_t service_id;
    std::string provider;
    std::string name;
};

// All throw UsageError when the table is too long for one packet.
Packet build_pat(std::span<const ProgramEntry> programs);
Packet build_pmt(const PmtContent& map);
Packet build_sdt(const ServiceText& service);

Packet build_null_packet();

// So many bytes of provider and name together fit one packet.
inline constexpr size_t kMostServiceText = 157;

}  // namespace zvprobe
