// SPDX-License-Identifier: MIT
// Sections of tables (ISO/IEC 13818-1, 2.4.4): gathered over any number of packets, their heads read,
// their CRC_32 checked. What a table says is read elsewhere.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "mpeg/ts_packet/packet_fields.h"
#include "survey/crc32.h"

namespace zv::survey {

constexpr size_t kSectionHeadSize = 3;       // up to and including section_length
constexpr size_t kLongHeadSize = 8;          // up to and including last_section_number
constexpr size_t kShortestLongSection = 12;  // head and CRC_32
constexpr size_t kCrcSize = 4;
constexpr uint8_t kStuffing = 0xFF;    // in place of a table_id: no section follows
constexpr uint8_t kTableIdTot = 0x73;  // short, and yet it has a CRC_32

// A whole section, borrowed.
class Section {
  public:
    explicit Section(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    std::span<const uint8_t> bytes() const { return bytes_; }
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
    std::span<const uint8_t> body() const {
        const size_t head = is_long() ? kLongHeadSize : kSectionHeadSize;
        const size_t end = bytes_.size() - (has_crc() ? kCrcSize : 0);
        return end > head ? bytes_.subspan(head, end - head) : std::span<const uint8_t>{};
    }

  private:
    std::span<const uint8_t> bytes_;
};

// Puts the sections of one PID together from its payloads.
class SectionGatherer {
  public:
    // Takes a payload.
    // starts_unit  in  it begins with a pointer_field
    // offset       in  of the packet
    // see(section, first_offset) is called for each section that is whole now; first_offset is of
    // the packet in which it begins. begun(offset) is called when a section begins.
    template <typename Begun, typename See>
    void take(std::span<const uint8_t> payload, bool starts_unit, uint64_t offset, Begun begun,
              See see);

    // Forgets the section that is not whole yet: packets are missing.
    void drop() {
        gathered_.clear();
        follows_ = false;
    }

    bool is_open() const { return !gathered_.empty(); }

  private:
    // -> bytes that the section at the start of what was gathered has; 0 when not known yet
    size_t section_size() const {
        if (gathered_.size() < kSectionHeadSize) return 0;
        return kSectionHeadSize + (load_be16(&gathered_[1]) & 0xFFF);
    }

    template <typename Begun, typename See>
    void append(std::span<const uint8_t> bytes, uint64_t offset, Begun begun, See see);

    std::vector<uint8_t> gathered_;
    uint64_t first_offset_ = 0;
    bool follows_ = false;  // what comes next belongs to a section, or begins one
};

template <typename Begun, typename See>
void SectionGatherer::append(std::span<const uint8_t> bytes, uint64_t offset, Begun begun,
                             See see) {
    while (follows_ && !bytes.empty()) {
        if (gathered_.empty()) {
            if (bytes[0] == kStuffing) return drop();
            first_offset_ = offset;
            begun(offset);
        }
        const size_t size = section_size();
        const size_t wanted = (size == 0 ? kSectionHeadSize : size) - gathered_.size();
        const auto piece = bytes.first(std::min(wanted, bytes.size()));
        gathered_.insert(gathered_.end(), piece.begin(), piece.end());
        bytes = bytes.subspan(piece.size());
        if (section_size() != gathered_.size()) continue;
        see(Section(gathered_), first_offset_);
        gathered_.clear();
    }
}

template <typename Begun, typename See>
void SectionGatherer::take(std::span<const uint8_t> payload, bool starts_unit, uint64_t offset,
                           Begun begun, See see) {
    if (payload.empty()) return;
    if (!starts_unit) return append(payload, offset, begun, see);
    const size_t pointer = payload[0];
    payload = payload.subspan(1);
    append(payload.first(std::min(pointer, payload.size())), offset, begun, see);
    drop();
    if (pointer >= payload.size()) return;
    follows_ = true;
    append(payload.subspan(pointer), offset, begun, see);
}

}  // namespace zv::survey
