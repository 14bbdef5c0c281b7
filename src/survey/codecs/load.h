// SPDX-License-Identifier: MIT
// Big-endian words; the caller has checked that the bytes are there.
#pragma once

#include <cstdint>
#include <span>

namespace zv::survey {

constexpr uint32_t load_be32(std::span<const uint8_t> bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
constexpr uint32_t load_be16(std::span<const uint8_t> bytes) {
    return uint32_t{bytes[0]} << 8 | bytes[1];
}

}  // namespace zv::survey
