// SPDX-License-Identifier: MIT
// Implementation of section_gatherer.h.
#include "section_gatherer.h"

#include <algorithm>

#include "bytes.h"
#include "psi_section.h"

namespace zvprobe {
namespace {

constexpr size_t kLengthEnd = 3;  // table_id and section_length
constexpr uint32_t kLengthMask = 0x0FFF;

}  // namespace

// The first bytes tell how many follow.
size_t SectionGatherer::missing() const {
    if (section_.size() < kLengthEnd) return kLengthEnd - section_.size();
    const uint32_t length = big_endian(std::span(section_).subspan(1, 2)) & kLengthMask;
    return kLengthEnd + length - section_.size();
}

// -> bytes taken: all of them, or up to the end of the section
size_t SectionGatherer::append(std::span<const uint8_t> bytes, const OnSection& on_section) {
    size_t taken = 0;
    size_t wanted = missing();
    for (; wanted > 0 && taken < bytes.size(); wanted = missing()) {
        const auto piece = bytes.subspan(taken, std::min(wanted, bytes.size() - taken));
        section_.insert(section_.end(), piece.begin(), piece.end());
        taken += piece.size();
    }
    if (wanted > 0) return taken;
    on_section(section_, begun_at_);
    drop();
    return taken;
}

void SectionGatherer::take(std::span<const uint8_t> payload, bool starts, uint64_t offset,
                           const OnSection& on_section) {
    if (!starts) {
        if (!section_.empty()) append(payload, on_section);
        return;
    }
    if (payload.empty()) return;
    const size_t pointer_field = payload[0];
    const auto behind = payload.subspan(1);
    if (!section_.empty()) append(behind.first(std::min(pointer_field, behind.size())), on_section);
    drop();
    begun_at_ = offset;
    for (size_t at = pointer_field; at < behind.size() && behind[at] != kTableStuffing;)
        at += append(behind.subspan(at), on_section);
}

}  // namespace zvprobe
