// SPDX-License-Identifier: MIT
// Implementation of rs_parity.h.
#include "ts/remap/rs_parity.h"

namespace zvprobe {
namespace {

constexpr unsigned kFieldPolynomial = 0x11D;
constexpr size_t kParitySize = std::tuple_size_v<Parity>;

constexpr uint8_t multiply(uint8_t a, uint8_t b) {
    unsigned product = 0;
    for (unsigned factor = a; b != 0; b = static_cast<uint8_t>(b >> 1)) {
        if (b & 1) product ^= factor;
        factor <<= 1;
        if (factor & 0x100) factor ^= kFieldPolynomial;
    }
    return static_cast<uint8_t>(product);
}

// (x + 2^0)(x + 2^1)...(x + 2^15), highest coefficient first and, being 1, left out.
constexpr Parity make_generator() {
    std::array<uint8_t, kParitySize + 1> product = {1};
    uint8_t root = 1;
    for (size_t degree = 1; degree <= kParitySize; ++degree) {
        for (size_t i = degree; i > 0; --i)
            product[i] = static_cast<uint8_t>(product[i] ^ multiply(product[i - 1], root));
        root = multiply(root, 2);
    }
    Parity generator{};
    for (size_t i = 0; i < kParitySize; ++i)
        generator[i] = product[i + 1];
    return generator;
}

// Row f: the generator times f.
constexpr auto make_multiples() {
    constexpr Parity generator = make_generator();
    std::array<Parity, 256> rows{};
    for (size_t factor = 0; factor < rows.size(); ++factor) {
        for (size_t i = 0; i < kParitySize; ++i)
            rows[factor][i] = multiply(generator[i], static_cast<uint8_t>(factor));
    }
    return rows;
}

constexpr auto kMultiples = make_multiples();

}  // namespace

// Long division; the 51 zero bytes that the code is shortened by change nothing.
Parity rs_parity(std::span<const uint8_t, 188> packet) {
    Parity remainder{};
    for (const uint8_t byte : packet) {
        const Parity& row = kMultiples[remainder[0] ^ byte];
        for (size_t i = 0; i + 1 < kParitySize; ++i)
            remainder[i] = static_cast<uint8_t>(remainder[i + 1] ^ row[i]);
        remainder[kParitySize - 1] = row[kParitySize - 1];
    }
    return remainder;
}

}  // namespace zvprobe
