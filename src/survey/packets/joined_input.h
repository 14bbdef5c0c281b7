// SPDX-License-Identifier: MIT
// Makes calls with any cut of the input into pieces that a reader can work on: what it left of one
// piece comes again, followed by what came next. Only the bytes around a cut are copied.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace zv::survey {

class JoinedInput {
  public:
    // most_left: the reader leaves fewer bytes than this of a piece
    explicit JoinedInput(size_t most_left) : join_(most_left) {}

    // Calls read(piece) -> bytes taken, until all of `bytes` is taken or kept for the next call.
    template <typename Read>
    void feed(std::span<const uint8_t> bytes, Read read) {
        while (!left_.empty() && !bytes.empty()) {
            const size_t kept = left_.size();
            const auto joined = bytes.first(std::min(bytes.size(), join_));
            left_.insert(left_.end(), joined.begin(), joined.end());
            const size_t taken = read(std::span<const uint8_t>(left_));
            if (taken >= kept) {
                bytes = bytes.subspan(taken - kept);
                left_.clear();
            } else {
                bytes = bytes.subspan(joined.size());
                left_.erase(left_.begin(), left_.begin() + static_cast<std::ptrdiff_t>(taken));
            }
        }
        if (bytes.empty()) return;
        const auto rest = bytes.subspan(read(bytes));
        left_.assign(rest.begin(), rest.end());
    }

    // -> what no call took
    std::span<const uint8_t> left() const { return left_; }

  private:
    size_t join_;
    std::vector<uint8_t> left_;
};

}  // namespace zv::survey
