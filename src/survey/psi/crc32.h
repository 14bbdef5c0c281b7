// SPDX-License-Identifier: MIT
// CRC_32 of sections: ISO/IEC 13818-1, annex A.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg/ts_packet/packet_fields.h"

namespace zv::survey {

constexpr size_t kCrcStride = 8;  // bytes that are taken at once

// What a byte leaves, by how many bytes of its stride follow it.
inline constexpr auto kCrcTables = [] {
    std::array<std::array<uint32_t, 256>, kCrcStride> tables{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t rest = i << 24;
        for (auto& table : tables) {
            for (int bit = 0; bit < 8; ++bit)
                rest = (rest << 1) ^ (rest >> 31 ? 0x04C11DB7 : 0);
            table[i] = rest;
        }
    }
    return tables;
}();
inline constexpr const auto& kCrcTable = kCrcTables[0];  // of one byte

// -> 0 when the last four of the bytes are the CRC_32 of those before
inline uint32_t crc32(std::span<const uint8_t> bytes) {
    const auto& t = kCrcTables;
    uint32_t crc = 0xFFFFFFFF;
    for (; bytes.size() >= kCrcStride; bytes = bytes.subspan(kCrcStride)) {
        const uint8_t* const p = bytes.data();
        crc ^= load_be32(p);
        crc = t[7][crc >> 24] ^ t[6][(crc >> 16) & 255] ^ t[5][(crc >> 8) & 255] ^ t[4][crc & 255] ^
              t[3][p[4]] ^ t[2][p[5]] ^ t[1][p[6]] ^ t[0][p[7]];
    }
    for (const uint8_t byte : bytes)
        crc = (crc << 8) ^ kCrcTable[(crc >> 24) ^ byte];
    return crc;
}

}  // namespace zv::survey
