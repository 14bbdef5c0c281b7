// SPDX-License-Identifier: MIT
// The descriptors of a loop, one after the other (ISO/IEC 13818-1, 2.6). A descriptor that runs
// over the end of the loop is cut there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zv::survey {

// Tags that several readers look for.
constexpr uint8_t kTagRegistration = 0x05;
constexpr uint8_t kTagVbiTeletext = 0x46;
constexpr uint8_t kTagTeletext = 0x56;
constexpr uint8_t kTagSubtitling = 0x59;
constexpr uint8_t kTagExtension = 0x7F;  // ETSI EN 300 468, 6.2.18: the tag proper follows

struct Descriptor {
    uint8_t tag;
    std::span<const uint8_t> body;
};

class Descriptors {
  public:
    explicit Descriptors(std::span<const uint8_t> loop) : rest_(loop) {}

    std::optional<Descriptor> next() {
        if (rest_.size() < kHeader) return std::nullopt;
        const size_t length = std::min<size_t>(rest_[1], rest_.size() - kHeader);
        const Descriptor out = {rest_[0], rest_.subspan(kHeader, length)};
        rest_ = rest_.subspan(kHeader + length);
        return out;
    }

  private:
    static constexpr size_t kHeader = 2;
    std::span<const uint8_t> rest_;
};

}  // namespace zv::survey
