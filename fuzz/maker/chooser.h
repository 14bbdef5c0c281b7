// SPDX-License-Identifier: MIT
// Decisions of the stream maker: from bytes as long as they last, then from a generator.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <span>

#include "parts/input.h"

namespace fuzz::maker {

class Chooser {
  public:
    explicit Chooser(std::span<const uint8_t> steering) : steering_(steering) {
        uint32_t seed = 1;
        for (const uint8_t byte : steering)
            seed = seed * 0x01000193 ^ byte;
        generator_.seed(seed);
    }

    // -> 0 to count - 1
    uint32_t below(uint32_t count) {
        if (steering_.empty()) return static_cast<uint32_t>(generator_()) % count;
        return (count <= 0x100 ? steering_.u8() : uint32_t{steering_.u16()}) % count;
    }
    int between(int low, int high) {
        return low + static_cast<int>(below(static_cast<uint32_t>(high - low + 1)));
    }
    bool one_in(uint32_t count) { return below(count) == 0; }
    double fraction() { return below(0x10000) / 65536.0; }
    double between(double low, double high) { return low + (high - low) * fraction(); }
    uint8_t byte() { return static_cast<uint8_t>(below(0x100)); }

    template <typename Value>
    Value one_of(std::initializer_list<Value> values) {
        return *(values.begin() + below(static_cast<uint32_t>(values.size())));
    }

  private:
    ByteSource steering_;
    std::mt19937 generator_;
};

}  // namespace fuzz::maker
