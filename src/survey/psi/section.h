// SPDX-License-Identifier: MIT
// A section of a table (ISO/IEC 13818-1, 2.4.4): its head, its body, its CRC_32. What a table says is
// read elsewhere.
#pragma once

#include <cstdint>
#include <span>

#include "mpeg/ts_packet/packet_fields.h"
#include "survey/psi/crc32.h"

namespace zv::survey {

using Bytes = std::span<const uint8_t>;

constexpr size_t kSectionHeadSize = 3;       // up to and including section_length
constexpr size_t kLongHeadSize = 8;          // up to and including last_section_number
constexpr size_t kShortestLongSection = 12;  // head and CRC_32
constexpr size_t kLongestSection = 4096;     // private sections; others are shorter
constexpr size_t kCrcSize = 4;
constexpr uint8_t kStuffing = 0xFF;    // in place of a table_id: no section follows
constexpr uint8_t kTableIdTot = 0x73;  // short, and yet it has a CRC_32

// A whole section, borrowed.
class Section {
  public:
    explicit Section(Bytes bytes) : bytes_(bytes) {}

    Bytes bytes() const { return bytes_; }
    uint8_t table_id() const { return bytes_[0]; }
    bool is_long() const { return bytes_[1] & 0x80; }  // section_syntax_indicator

    bool has_crc() const { return is_long() || table_id() == kTableIdTot; }
    bool is_sound() const {
        if (!has_crc()) return true;
        return (!is_long() || bytes_.size() >= kShortestLongSection) && crc32(bytes_) == 0;
    }

    // Of sound long sections.
    uint16_t extension() const { return load_be16(&bytes_[3]); }
    uint8_t version() const { return (bytes_[5] >> 1) & 31; }
    bool is_current() const { return !is_long() || (bytes_[5] & 1); }  // current_next_indicator
    uint8_t number() const { return bytes_[6]; }
    uint8_t last_number() const { return bytes_[7]; }

    // What lies between head and CRC_32.
    Bytes body() const {
        const size_t head = is_long() ? kLongHeadSize : kSectionHeadSize;
        const size_t end = bytes_.size() - (has_crc() ? kCrcSize : 0);
        return end > head ? bytes_.subspan(head, end - head) : Bytes{};
    }

  private:
    Bytes bytes_;
};

}  // namespace zv::survey
