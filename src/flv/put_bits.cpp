// SPDX-License-Identifier: MIT
// A bit writer, most significant bit first, that stores whole 32-bit words.
#include <cstddef>

#include "flv/flv_internal.h"
#include "zvlog.h"

namespace {

constexpr int kAvLogError = 16;
constexpr int kWordBits = 32;
constexpr ptrdiff_t kWordBytes = 4;

void store_word(PutBitContext* writer) {
    if (writer->buf_end - writer->buf_ptr < kWordBytes) {
        av_log(nullptr, kAvLogError, "Internal error, put_bits buffer too small\n");
        return;
    }
    for (int shift = kWordBits - 8; shift >= 0; shift -= 8)
        *writer->buf_ptr++ = static_cast<uint8_t>(writer->bit_buf >> shift);
}

}  // namespace

void put_bits(PutBitContext* writer, int32_t n, uint32_t value) {
    if (n <= 0 || n >= kWordBits || writer->bit_left < 0) return;
    if (n < writer->bit_left) {
        writer->bit_buf = writer->bit_buf << n | value;
        writer->bit_left -= n;
        return;
    }
    const int32_t rest = n - writer->bit_left;
    writer->bit_buf = writer->bit_buf << writer->bit_left | value >> rest;
    store_word(writer);
    writer->bit_left = kWordBits - rest;
    writer->bit_buf = value;  // bits already written are shifted out before the next store
}

void put_bits32(PutBitContext* writer, uint32_t value) {
    put_bits(writer, 16, value >> 16);
    put_bits(writer, 16, value & 0xFFFF);
}
