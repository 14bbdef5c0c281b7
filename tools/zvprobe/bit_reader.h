// SPDX-License-Identifier: MIT
// Bits from the most significant one on; behind the end all bits are 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zvprobe {

class BitReader {
  public:
    explicit BitReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    // -> true when bits were asked for that are not there
    bool overrun() const { return at_ > bytes_.size() * 8; }

    uint32_t bit() {
        const size_t byte = at_ / 8;
        const size_t shift = 7 - at_ % 8;
        ++at_;
        return byte < bytes_.size() ? (bytes_[byte] >> shift) & 1u : 0;
    }

    // count: at most 32
    uint32_t bits(int count) {
        uint32_t value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 1 | bit();
        return value;
    }

    // Exponential Golomb codes, unsigned and signed (ISO/IEC 14496-10, 9.1).
    uint32_t ue() {
        int zeros = 0;
        while (zeros < 31 && !overrun() && bit() == 0)
            ++zeros;
        return (1u << zeros) - 1 + bits(zeros);
    }
    int32_t se() {
        const uint32_t code = ue();
        const auto half = static_cast<int32_t>((code + 1) / 2);
        return code % 2 == 0 ? -half : half;
    }

  private:
    std::span<const uint8_t> bytes_;
    size_t at_ = 0;
};

}  // namespace zvprobe
