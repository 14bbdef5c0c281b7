// SPDX-License-Identifier: MIT
// The one way FLV code reads input: big-endian loads from bytes of known extent. What lies beyond
// reads as 0 and still advances the position: lengths are counted as the data claims them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zv::flv {

class ByteReader {
  public:
    ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    size_t position() const { return position_; }
    size_t remaining() const { return position_ < size_ ? size_ - position_ : 0; }

    uint8_t peek(size_t offset) const {
        return offset < remaining() ? data_[position_ + offset] : uint8_t{0};
    }

    uint8_t u8() {
        const uint8_t byte = peek(0);
        ++position_;
        return byte;
    }

    uint32_t be24() { return static_cast<uint32_t>(big_endian(3)); }
    uint32_t be32() { return static_cast<uint32_t>(big_endian(4)); }
    uint64_t be64() { return big_endian(8); }

    void skip(size_t count) { position_ += count; }

    // The next `count` bytes, or as many of them as there are; only those are consumed.
    std::span<const uint8_t> take(size_t count) {
        const size_t kept = count < remaining() ? count : remaining();
        if (kept == 0) return {};
        const std::span<const uint8_t> bytes(data_ + position_, kept);
        position_ += kept;
        return bytes;
    }

  private:
    uint64_t big_endian(int bytes) {
        uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8 | u8();
        return value;
    }

    const uint8_t* data_;
    size_t size_;
    size_t position_ = 0;
};

}  // namespace zv::flv
