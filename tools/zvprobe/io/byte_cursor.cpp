// SPDX-License-Identifier: MIT
// Implementation of byte_cursor.h.
#include "io/byte_cursor.h"

#include <algorithm>

namespace zvprobe {

bool ByteCursor::has_more() const {
    return !source_.at_end();
}

std::span<const uint8_t> ByteCursor::peek(size_t count) {
    while (window_.size() < count && has_more())
        window_ = source_.next(window_.size());
    return window_.first(std::min(count, window_.size()));
}

// Never moves to the next window.
std::span<const uint8_t> ByteCursor::take_at_hand(uint64_t count) {
    const auto taken =
        window_.first(static_cast<size_t>(std::min<uint64_t>(count, window_.size())));
    window_ = window_.subspan(taken.size());
    position_ += taken.size();
    return taken;
}

std::span<const uint8_t> ByteCursor::take(uint64_t count) {
    while (window_.empty() && has_more())
        window_ = source_.next(0);
    return take_at_hand(count);
}

// The source skips from the end of its window on, so nothing of that may be left: what is short of
// `count` at the head of the loop has used the window up.
uint64_t ByteCursor::skip(uint64_t count) {
    uint64_t passed = take_at_hand(count).size();
    while (passed < count && has_more()) {
        const uint64_t jumped = source_.skip(count - passed);
        position_ += jumped;
        passed += jumped;
        window_ = source_.next(0);
        passed += take_at_hand(count - passed).size();
    }
    return passed;
}

void ByteCursor::read(size_t count, std::vector<uint8_t>& out) {
    while (count > 0) {
        const auto piece = take(count);
        if (piece.empty()) return;
        out.insert(out.end(), piece.begin(), piece.end());
        count -= piece.size();
    }
}

}  // namespace zvprobe
