// SPDX-License-Identifier: MIT
// Implementation of start_codes.h.
#include "survey/codecs/video/start_codes.h"

#include <algorithm>

namespace zv::survey {
namespace {

constexpr size_t kStartCode = 3;  // bytes

// -> offset of the first start code, or bytes.size()
size_t find_start_code(std::span<const uint8_t> bytes) {
    size_t at = 0;
    while (at + kStartCode <= bytes.size()) {
        const uint8_t third = bytes[at + 2];
        if (third > 1)
            at += 3;
        else if (third == 1 && bytes[at] == 0 && bytes[at + 1] == 0)
            return at;
        else
            ++at;
    }
    return bytes.size();
}

std::span<const uint8_t> after_start_code(std::span<const uint8_t> bytes, size_t at) {
    return bytes.subspan(at == bytes.size() ? at : at + kStartCode);
}

}  // namespace

StartCodes::StartCodes(std::span<const uint8_t> bytes)
    : rest_(after_start_code(bytes, find_start_code(bytes))) {}

std::optional<StartCodeUnit> StartCodes::next() {
    while (!rest_.empty()) {
        const size_t end = find_start_code(rest_);
        const auto unit = rest_.first(end);
        const bool ended = end < rest_.size();
        rest_ = after_start_code(rest_, end);
        if (!unit.empty()) return StartCodeUnit{unit, ended};
    }
    return std::nullopt;
}

bool begins_with_start_code(std::span<const uint8_t> bytes) {
    const auto head = bytes.first(std::min(bytes.size(), kStartCode + 1));
    return find_start_code(head) < head.size();
}

UnescapedUnit::UnescapedUnit(std::span<const uint8_t> unit) {
    size_t zeros = 0;
    for (const uint8_t byte : unit) {
        if (size_ == bytes_.size()) return;
        const bool inserted = zeros >= 2 && byte == 3;
        zeros = byte == 0 ? zeros + 1 : 0;
        if (!inserted) bytes_[size_++] = byte;
    }
}

}  // namespace zv::survey
