// SPDX-License-Identifier: MIT
// Units between the start codes 00 00 01 of a byte stream, and their payload without emulation
// prevention bytes (ISO/IEC 14496-10, annex B and 7.4.1).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zv::survey {

struct StartCodeUnit {
    std::span<const uint8_t> bytes;  // after the start code; zeros before the next one included
    bool ended;                      // another start code follows, so nothing of it is missing
};

class StartCodes {
  public:
    explicit StartCodes(std::span<const uint8_t> bytes);

    // -> the next unit that has at least one byte; nothing at the end
    std::optional<StartCodeUnit> next();

  private:
    std::span<const uint8_t> rest_;  // from after a start code on; empty at the end
};

// -> true also with a zero byte before the start code
bool begins_with_start_code(std::span<const uint8_t> bytes);

// Parameter sets are far smaller than this; of longer units the first bytes are kept.
class UnescapedUnit {
  public:
    explicit UnescapedUnit(std::span<const uint8_t> unit);
    std::span<const uint8_t> bytes() const { return std::span(bytes_).first(size_); }

  private:
    std::array<uint8_t, 4096> bytes_;
    size_t size_ = 0;
};

}  // namespace zv::survey
