// SPDX-License-Identifier: MIT
// Implementation of table_builder.h. Sections start after the header and are padded with 0xFF.
#include "ts/table_builder.h"

#include <algorithm>

#include "base/numbers.h"

namespace zvprobe {
namespace {

constexpr uint8_t kPayloadOnly = 1;  // adaptation_field_control
constexpr size_t kMostPrograms = 42;
constexpr size_t kMostStreamBytes = 166;  // 5 for each stream, and its descriptors
constexpr size_t kStreamEntrySize = 5;

// The builders want room for a section that does not fit, too; none comes here.
template <typename Build>
Packet built(Build build) {
    Packet packet;
    build(packet.data());
    return packet;
}

}  // namespace

Packet build_pat(std::span<const ProgramEntry> programs) {
    if (programs.size() > kMostPrograms)
        throw UsageError("more than 42 programmes do not fit one packet");
    std::vector<uint16_t> numbers;
    std::vector<uint16_t> pids;
    for (const ProgramEntry& program : programs) {
        numbers.push_back(program.program_number);
        pids.push_back(program.pmt_pid);
    }
    return built([&](uint8_t* packet) {
        mpegts_api_buildPat(packet, kPayloadOnly, zv::kTsPacketSize,
                            static_cast<uint16_t>(programs.size()), numbers.data(), pids.data());
    });
}

Packet build_pmt(const PmtContent& map) {
    size_t size = 0;
    for (const MPEGTSStream& stream : map.streams)
        size += kStreamEntrySize + stream.es_info_len;
    if (size > kMostStreamBytes)
        throw UsageError("the streams and their descriptors do not fit one packet");
    return built([&](uint8_t* packet) {
        mpegts_api_buildPmtEs(packet, kPayloadOnly, map.program_number, map.pmt_pid, map.pcr_pid,
                              static_cast<int8_t>(map.streams.size()), map.streams.data(),
                              zv::kTsPacketSize);
    });
}

Packet build_sdt(const ServiceText& service) {
    if (service.provider.size() + service.name.size() > kMostServiceText)
        throw UsageError("provider and name are longer than 157 bytes together");
    return built([&](uint8_t* packet) {
        mpegts_api_buildSdt(packet, kPayloadOnly, service.service_id, service.provider.c_str(),
                            service.name.c_str(), zv::kTsPacketSize);
    });
}

Packet build_null_packet() {
    return built([](uint8_t* packet) { mpegts_api_buildNullPkt(packet, zv::kTsPacketSize); });
}

}  // namespace zvprobe
