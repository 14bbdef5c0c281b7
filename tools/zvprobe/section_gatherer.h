// SPDX-License-Identifier: MIT
// Puts the sections of one PID together, whatever packets they lie in (ISO/IEC 13818-1, 2.4.4.1).
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace zvprobe {

class SectionGatherer {
  public:
    // section: all its bytes; offset: of the packet in which it began
    using OnSection = std::function<void(std::span<const uint8_t> section, uint64_t offset)>;

    // Takes what a packet carries; whole sections go to on_section.
    // starts  a section begins in the packet: payload_unit_start_indicator
    // offset  of the packet
    void take(std::span<const uint8_t> payload, bool starts, uint64_t offset,
              const OnSection& on_section);

    // -> true when the packets so far end in the middle of a section
    bool unfinished() const { return !section_.empty(); }

    // A packet is missing: what was begun is not finished.
    void drop() { section_.clear(); }

  private:
    size_t missing() const;
    size_t append(std::span<const uint8_t> bytes, const OnSection& on_section);

    std::vector<uint8_t> section_;  // as far as it came; empty when none is begun
    uint64_t begun_at_ = 0;
};

}  // namespace zvprobe
