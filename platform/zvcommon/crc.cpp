// SPDX-License-Identifier: MIT
// CRC-32 of ISO/IEC 13818-1 Annex A, sixteen bytes a step: table k holds what a byte does to the
// remainder when k more bytes follow it, so that the look-ups of a step do not wait for each other.

#include <array>
#include <cstddef>

#include "zvcommon.h"

namespace {

constexpr uint32_t kPolynomial = 0x04C11DB7;
constexpr uint32_t kStart = 0xFFFFFFFF;
constexpr size_t kSlices = 16;

using Table = std::array<uint32_t, 256>;

constexpr uint32_t remainder_of_byte(uint32_t byte) {
    uint32_t remainder = byte << 24;
    for (int bit = 0; bit < 8; ++bit) {
        const bool carry = (remainder & 0x80000000) != 0;
        remainder = (remainder << 1) ^ (carry ? kPolynomial : 0);
    }
    return remainder;
}

constexpr std::array<Table, kSlices> make_tables() {
    std::array<Table, kSlices> tables{};
    for (uint32_t byte = 0; byte < 256; ++byte)
        tables[0][byte] = remainder_of_byte(byte);
    for (size_t slice = 1; slice < kSlices; ++slice) {
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint32_t shorter = tables[slice - 1][byte];
            tables[slice][byte] = (shorter << 8) ^ tables[0][shorter >> 24];
        }
    }
    return tables;
}

constexpr std::array<Table, kSlices> kTables = make_tables();

// The bytes data[from..from+3], the first of which is `followers` bytes before the step's end.
template <size_t followers>
uint32_t four_bytes(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return kTables[followers][a] ^ kTables[followers - 1][b] ^ kTables[followers - 2][c] ^
           kTables[followers - 3][d];
}

uint32_t step(uint32_t crc, const uint8_t* data) {
    return four_bytes<15>((crc >> 24) ^ data[0], ((crc >> 16) & 255) ^ data[1],
                          ((crc >> 8) & 255) ^ data[2], (crc & 255) ^ data[3]) ^
           four_bytes<11>(data[4], data[5], data[6], data[7]) ^
           four_bytes<7>(data[8], data[9], data[10], data[11]) ^
           four_bytes<3>(data[12], data[13], data[14], data[15]);
}

}  // namespace

extern "C" uint32_t zvcrc_api_CRC32(const uint8_t* data, int length) {
    uint32_t crc = kStart;
    if (data == nullptr || length <= 0) return crc;
    auto left = static_cast<size_t>(length);
    for (; left >= kSlices; left -= kSlices, data += kSlices)
        crc = step(crc, data);
    for (; left > 0; --left, ++data)
        crc = (crc << 8) ^ kTables[0][(crc >> 24) ^ *data];
    return crc;
}
