// SPDX-License-Identifier: MIT
// What every fuzz target needs: the input cut into fields, blocks of exactly the bytes that the
// code under test may touch, and a check that stops the fuzzer. What the bytes mean is the
// target's.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

namespace fuzz {

// Ends the run; the fuzzer keeps the input.
inline void require(bool holds, const char* promise) {
    if (holds) return;
    fprintf(stderr, "broken promise: %s\n", promise);
    abort();
}

// Takes the input from the front. An exhausted source gives zeros, so every input is a valid one.
class ByteSource {
  public:
    explicit ByteSource(std::span<const uint8_t> bytes) : bytes_(bytes) {}
    ByteSource(const uint8_t* data, size_t size) : bytes_(data, size) {}

    bool empty() const { return bytes_.empty(); }
    size_t size() const { return bytes_.size(); }

    uint8_t u8() {
        const auto taken = take(1);
        return taken.empty() ? uint8_t{0} : taken[0];
    }
    uint16_t u16() {
        const int high = u8();
        return static_cast<uint16_t>((high << 8) | u8());
    }
    // Up to `count` bytes.
    std::span<const uint8_t> take(size_t count) {
        const auto taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return taken;
    }
    std::span<const uint8_t> rest() { return take(bytes_.size()); }

  private:
    std::span<const uint8_t> bytes_;
};

// A heap block without a byte to spare, so that the sanitizer sees the first one too many.
class ExactBytes {
  public:
    explicit ExactBytes(size_t size) : bytes_(std::make_unique<uint8_t[]>(size)), size_(size) {}
    explicit ExactBytes(std::span<const uint8_t> from) : ExactBytes(from.size()) {
        std::copy(from.begin(), from.end(), bytes_.get());
    }

    uint8_t* data() { return bytes_.get(); }
    size_t size() const { return size_; }
    int length() const { return static_cast<int>(size_); }
    char* text() { return reinterpret_cast<char*>(bytes_.get()); }
    std::span<uint8_t> span() { return {bytes_.get(), size_}; }
    bool equals(std::span<const uint8_t> other) const {
        return std::equal(other.begin(), other.end(), bytes_.get(), bytes_.get() + size_);
    }

  private:
    std::unique_ptr<uint8_t[]> bytes_;
    size_t size_;
};

// The sizes of pieces, a short list taken from the input and used round and round.
class PieceSizes {
  public:
    explicit PieceSizes(ByteSource& in) {
        for (uint8_t& size : sizes_)
            size = in.u8();
    }
    uint8_t next() { return sizes_[at_++ % sizeof sizes_]; }

  private:
    uint8_t sizes_[8];
    size_t at_ = 0;
};

}  // namespace fuzz
