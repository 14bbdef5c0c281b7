// SPDX-License-Identifier: MIT
// A place in a source that moves forward only: looks a little ahead, passes over a lot. Readers of
// formats without fixed packets stand on it. A signal ends the source where it has been read to.
#pragma once

#include <vector>

#include "io/source.h"

namespace zvprobe {

class ByteCursor {
  public:
    // first_window: what source.next(0) gave
    ByteCursor(Source& source, std::span<const uint8_t> first_window)
        : source_(source), window_(first_window) {}

    // -> true when a signal ended the reading here, not the end of the source
    bool stopped() const { return source_.stopped(); }

    // -> bytes passed since the start of the source
    uint64_t position() const { return position_; }

    // Has the processor fetch the bytes at that distance, if they are in the window: a caller that
    // knows where it will look next, and has other work first, then need not wait for them.
    void prefetch(uint64_t distance) const {
        constexpr size_t kLine = 64;
        for (uint64_t at = distance; at < window_.size() && at < distance + 2 * kLine; at += kLine)
            __builtin_prefetch(&window_[static_cast<size_t>(at)]);
    }

    // The bytes that follow: `count`, at most Source::kMaxKept, or fewer where the source ends.
    // Valid until the next call.
    std::span<const uint8_t> peek(size_t count);

    // Passes over some of the bytes that follow: as many of `count` as the window holds, so none
    // only at the end. Valid until the next call.
    std::span<const uint8_t> take(uint64_t count);

    // Passes over `count` bytes, in files without reading them.
    // -> bytes passed, fewer only where the source ends
    uint64_t skip(uint64_t count);

    // Appends `count` bytes to `out`, fewer only where the source ends.
    void read(size_t count, std::vector<uint8_t>& out);

  private:
    bool has_more() const;
    std::span<const uint8_t> take_at_hand(uint64_t count);

    Source& source_;
    std::span<const uint8_t> window_;  // what was read, from the position on
    uint64_t position_ = 0;
};

}  // namespace zvprobe
