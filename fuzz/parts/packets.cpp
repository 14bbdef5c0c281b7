// SPDX-License-Identifier: MIT
#include "parts/packets.h"

#include "mpeg/mpegts/stages/section.h"
#include "mpeg/ts_packet/ts_packet.h"

namespace fuzz {
namespace {

bool is_table_id(uint8_t id) {
    return id == 0x00 || id == 0x02 || id == 0x42;
}

}  // namespace

void repair_crc(uint8_t* packet) {
    uint8_t* const body = packet + zv::kTsHeaderSize;
    const zv::PacketBody bytes(body);
    const int skipped = zvsi_api_getAdaptationFieldLen((packet[3] >> 4) & 3, body);
    for (int start = skipped; start <= skipped + 1; ++start) {
        if (!is_table_id(bytes.u8(start)) || !(bytes.u8(start + 1) & 0x80)) continue;
        const zv::OnePacketSection section = {skipped, bytes.be12(start + 1)};
        if (section.section_length < 2 || section.crc_at() + 4 > zv::kTsBodySize) return;
        zv::store_big_endian({body + section.crc_at(), 4}, zv::section_crc(body, section).computed);
        return;
    }
}

std::vector<uint8_t> any_bytes(std::span<const uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

std::vector<uint8_t> whole_packets(std::span<const uint8_t> bytes, size_t packet_size,
                                   bool repair_crcs) {
    std::vector<uint8_t> packets(bytes.begin(), bytes.end());
    packets.resize(packets.size() / packet_size * packet_size);
    for (size_t at = 0; at < packets.size(); at += packet_size) {
        packets[at] = zv::kTsSyncByte;
        if (repair_crcs) repair_crc(&packets[at]);
    }
    return packets;
}

}  // namespace fuzz
