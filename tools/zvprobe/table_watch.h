// SPDX-License-Identifier: MIT
// Continuity and CRCs of the tables, all through a stream. The library reads each table once, so it
// does not see what happens to it later; and it reports table continuity in its log only.
#pragma once

#include <memory>

#include "continuity_watch.h"
#include "section_gatherer.h"
#include "ts_report.h"

namespace zvprobe {

// Watches PAT, CAT, NIT, SDT and EIT, and the PMTs that the PAT names.
class TableWatch {
  public:
    explicit TableWatch(Findings& findings);

    // Looks at whole packets. offset: of the first one's sync byte
    void see(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset);

    bool watches(uint16_t pid) const { return by_pid_[pid] != nullptr; }

    const Listed<CrcError>& crc_errors() const { return crc_errors_; }

    // Continuity of all tables together.
    const ContinuityTotals& totals() const { return totals_; }

    TableContinuity continuity(std::span<const StreamInfoProgram> programs) const;

  private:
    struct Table {
        CCState continuity{};
        SectionGatherer gatherer;
        std::vector<uint8_t> sound;  // the last payload that held whole and undamaged sections
    };

    bool watch(uint16_t pid);
    Step count(Table& table, PacketBytes packet, uint64_t offset);
    void see_table(PacketBytes packet, uint64_t offset);
    void gather(Table& table, PacketBytes packet, uint64_t offset);
    void see_section(uint16_t pid, std::span<const uint8_t> section, uint64_t offset);
    void see_pat(std::span<const uint8_t> section);

    Findings& findings_;
    std::vector<std::unique_ptr<Table>> by_pid_;
    std::vector<uint8_t> pat_;        // its first section
    std::vector<uint16_t> from_pat_;  // PIDs that are watched because of it
    bool others_watched_ = false;     // since the packets at hand were looked through
    ContinuityTotals totals_;
    Listed<CrcError> crc_errors_;
};

}  // namespace zvprobe
