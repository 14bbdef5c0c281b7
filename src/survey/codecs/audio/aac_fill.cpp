// SPDX-License-Identifier: MIT
// Implementation of aac_fill.h.
#include "survey/codecs/audio/aac_fill.h"

#include <algorithm>
#include <bitset>

#include "survey/codecs/bit_reader.h"

namespace zv::survey {
namespace {

constexpr size_t kWindow = 1024;  // bytes; a fill element has 269 at most
constexpr size_t kIdBits = 3;
constexpr uint32_t kFillElement = 6;
constexpr uint32_t kEnd = 7;

BitReader at(std::span<const uint8_t> bytes, size_t bit) {
    BitReader reader(bytes);
    reader.skip(bit);
    return reader;
}

struct FillElement {
    size_t bits;
    bool sbr;
};

// reader: after id_syn_ele
FillElement read_fill_element(BitReader reader) {
    constexpr uint32_t kEscape = 15;
    constexpr uint32_t kSbrData = 13;
    constexpr uint32_t kSbrDataCrc = 14;
    size_t header = kIdBits + 4;
    size_t count = reader.bits(4);
    if (count == kEscape) {
        count += reader.bits(8);
        count -= 1;
        header += 8;
    }
    const uint32_t extension_type = count > 0 ? reader.bits(4) : 0;
    return {header + count * 8, extension_type == kSbrData || extension_type == kSbrDataCrc};
}

}  // namespace

bool has_sbr_fill_element(std::span<const uint8_t> block) {
    const auto tail = block.last(std::min(block.size(), kWindow));
    const size_t size = tail.size() * 8;
    std::bitset<kWindow * 8 + 1> ends_well;  // from that bit on only fill elements up to the end
    for (size_t padding = 0; padding < 8 && kIdBits + padding <= size; ++padding) {
        BitReader end = at(tail, size - padding - kIdBits);
        ends_well[size - padding - kIdBits] =
            end.bits(kIdBits) == kEnd && end.bits(static_cast<int>(padding)) == 0;
    }
    for (size_t bit = size; bit-- > 0;) {
        BitReader reader = at(tail, bit);
        if (reader.bits(kIdBits) != kFillElement) continue;
        const FillElement element = read_fill_element(reader);
        if (bit + element.bits > size || !ends_well[bit + element.bits]) continue;
        if (element.sbr) return true;
        ends_well[bit] = true;
    }
    return false;
}

}  // namespace zv::survey
