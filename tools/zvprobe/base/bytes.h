// SPDX-License-Identifier: MIT
// What readers of all formats do with bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

namespace zvprobe {

// -> the bytes, at most four, as a big-endian number
inline uint32_t big_endian(std::span<const uint8_t> bytes) {
    uint32_t value = 0;
    for (const uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}

// -> where the value stands first, at `from` or later; bytes.size() when it does not
inline size_t find_byte(std::span<const uint8_t> bytes, uint8_t value, size_t from) {
    if (from >= bytes.size()) return bytes.size();
    const void* const at = std::memchr(bytes.data() + from, value, bytes.size() - from);
    if (at == nullptr) return bytes.size();
    return static_cast<size_t>(static_cast<const uint8_t*>(at) - bytes.data());
}

}  // namespace zvprobe
