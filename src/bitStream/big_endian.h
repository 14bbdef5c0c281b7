// SPDX-License-Identifier: MIT
// Big-endian numbers in bytes that the caller knows to be there. Needs nothing else, so that every
// folder may use it.
#pragma once

#include <cstdint>
#include <span>

namespace zv {

constexpr uint16_t load_be16(const uint8_t* p) {
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}

constexpr uint32_t load_be32(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | p[3];
}

constexpr uint32_t load_be24(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 16) | (static_cast<uint32_t>(p[1]) << 8) | p[2];
}

// The first bytes of a span; a hardened standard library checks that it has them.
constexpr uint16_t load_be16(std::span<const uint8_t> bytes) {
    return load_be16(bytes.first<2>().data());
}
constexpr uint32_t load_be24(std::span<const uint8_t> bytes) {
    return load_be24(bytes.first<3>().data());
}
constexpr uint32_t load_be32(std::span<const uint8_t> bytes) {
    return load_be32(bytes.first<4>().data());
}

// -> all the bytes as one number, at most as many as Value has
template <typename Value = uint32_t>
constexpr Value big_endian(std::span<const uint8_t> bytes) {
    Value value = 0;
    for (const uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}

// Writes the low bytes of a value, as many as `out` has room for.
constexpr void store_big_endian(std::span<uint8_t> out, uint64_t value) {
    for (auto at = out.rbegin(); at != out.rend(); ++at, value >>= 8)
        *at = static_cast<uint8_t>(value);
}

// -> four letters as the number that stands for them in a stream
constexpr uint32_t four_letters(const char (&text)[5]) {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | static_cast<uint8_t>(text[i]);
    return value;
}

}  // namespace zv
