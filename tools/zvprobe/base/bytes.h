// SPDX-License-Identifier: MIT
// What readers of all formats do with bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "bitStream/big_endian.h"

namespace zvprobe {

using zv::big_endian;
using zv::four_letters;
using zv::load_be24;
using zv::load_be32;
using zv::store_big_endian;

// -> all the bytes, at most four, as one number, the last the most significant
inline uint32_t little_endian(std::span<const uint8_t> bytes) {
    uint32_t value = 0;
    for (auto at = bytes.rbegin(); at != bytes.rend(); ++at)
        value = value << 8 | *at;
    return value;
}

inline void append_big_endian(std::vector<uint8_t>& out, uint64_t value, size_t bytes) {
    out.resize(out.size() + bytes);
    store_big_endian(std::span(out).last(bytes), value);
}

// -> where the value stands first, at `from` or later; bytes.size() when it does not
inline size_t find_byte(std::span<const uint8_t> bytes, uint8_t value, size_t from) {
    if (from >= bytes.size()) return bytes.size();
    const void* const at = std::memchr(bytes.data() + from, value, bytes.size() - from);
    if (at == nullptr) return bytes.size();
    return static_cast<size_t>(static_cast<const uint8_t*>(at) - bytes.data());
}

}  // namespace zvprobe
