// SPDX-License-Identifier: MIT
// The sections of one PID out of its packets, as its continuity counters allow.
#pragma once

#include <algorithm>
#include <array>

#include "survey/packets/continuity.h"
#include "survey/psi/section_gatherer.h"

namespace zvprobe {

class PidSections {
  public:
    explicit PidSections(zv::survey::SectionBudget& budget) : gatherer_(budget) {}

    // Takes the next packet of the PID, one without transport_error_indicator, and calls
    // see(section) for each section that is whole now.
    // -> false when packets are missing before it
    template <typename See>
    bool take(const zv::survey::Packet& packet, See see) {
        using zv::survey::Continuity;
        const Continuity step = judge_continuity(packet, before_, counts_);
        const bool cut = step == Continuity::kError || step == Continuity::kRestarted;
        if (cut) gatherer_.drop();
        keep(packet);
        if (step == Continuity::kDuplicate || packet.scrambled()) return true;
        gatherer_.take(
            packet.payload(), packet.starts_unit(), 0, [] {},
            [&](const zv::survey::Section& section, uint64_t) { see(section); });
        return !cut;
    }

    // Is a section begun and not whole?
    bool is_open() const { return gatherer_.is_open(); }
    void drop() { gatherer_.drop(); }

  private:
    void keep(const zv::survey::Packet& packet) {
        std::copy_n(packet.bytes(), bytes_.size(), bytes_.begin());
        before_.bytes = bytes_.data();
        before_.counter = packet.head().continuity_counter();
    }

    zv::survey::PacketBefore before_;
    std::array<uint8_t, zv::kTsPacketSize> bytes_{};
    zv::survey::ContinuityCounts counts_;
    zv::survey::SectionGatherer gatherer_;
};

}  // namespace zvprobe
