// SPDX-License-Identifier: MIT
// Bits from the most significant one on. After the end all bits are 0 and the failure sticks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zv::survey {

class BitReader {
  public:
    explicit BitReader(std::span<const uint8_t> bytes) : bytes_(bytes), end_(bytes.size() * 8) {}

    // -> true when bits were asked for that are not there
    bool overrun() const { return at_ > end_; }
    size_t position() const { return at_; }  // bits read or skipped
    size_t left() const { return overrun() ? 0 : end_ - at_; }
    bool byte_aligned() const { return at_ % 8 == 0; }

    uint32_t bit() {
        if (at_ >= end_) return fail();
        const uint32_t value = static_cast<uint32_t>(bytes_[at_ / 8]) >> (7 - at_ % 8) & 1u;
        ++at_;
        return value;
    }
    bool flag() { return bit() != 0; }

    // count: at most 32
    uint32_t bits(int count) {
        uint32_t value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 1 | bit();
        return value;
    }
    // count: at most 64
    uint64_t long_bits(int count) {
        const int high = std::max(0, count - 32);
        const uint64_t upper = bits(high);
        return upper << 32 | bits(count - high);
    }
    void skip(size_t count) { at_ = count > left() ? end_ + 1 : at_ + count; }
    void align() { skip((8 - at_ % 8) % 8); }

    // Exponential Golomb codes, unsigned and signed (ISO/IEC 14496-10, 9.1).
    uint32_t ue() {
        int zeros = 0;
        while (!overrun() && bit() == 0)
            ++zeros;
        if (zeros > 31) return fail();
        return (1u << zeros) - 1 + bits(zeros);
    }
    int32_t se() {
        const uint32_t code = ue();
        const auto half = static_cast<int32_t>(code / 2 + code % 2);
        return code % 2 == 0 ? -half : half;
    }
    void skip_ue(uint32_t count) {
        for (; count > 0 && !overrun(); --count)
            ue();
    }

    // -> a reader of the next `count` bits, or of fewer where they end; this one skips them
    BitReader take(size_t count) {
        BitReader part = *this;
        part.end_ = at_ + std::min(count, left());
        skip(count);
        return part;
    }

    uint32_t fail() {
        at_ = end_ + 1;
        return 0;
    }

  private:
    std::span<const uint8_t> bytes_;
    size_t end_;  // bits
    size_t at_ = 0;
};

}  // namespace zv::survey
