// SPDX-License-Identifier: MIT
// CRC_32 of sections: ISO/IEC 13818-1, annex A.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace zv::survey {

inline constexpr auto kCrcTable = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t rest = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            rest = (rest << 1) ^ (rest >> 31 ? 0x04C11DB7 : 0);
        table[i] = rest;
    }
    return table;
}();

// -> 0 when the last four of the bytes are the CRC_32 of those before
inline uint32_t crc32(std::span<const uint8_t> bytes) {
    uint32_t crc = 0xFFFFFFFF;
    for (const uint8_t byte : bytes)
        crc = (crc << 8) ^ kCrcTable[(crc >> 24) ^ byte];
    return crc;
}

}  // namespace zv::survey
