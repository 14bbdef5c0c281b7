// SPDX-License-Identifier: MIT
// What a first reading of a stream finds: the PIDs that come and those that tables name, the
// programmes, and the tables that begin it. What can be remapped is decided by it.
#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "ts/packet_reader.h"
#include "ts/remap/pid_sections.h"
#include "ts/remap/tables_in_force.h"

namespace zvprobe {

struct PidFacts {
    bool seen = false;
    bool has_payload = false;    // some packet of it has
    bool named = false;          // by a table that is copied
    bool clock = false;          // of a programme that is copied
    uint8_t counter_before = 0;  // the counter that the first packet follows
};

// A programme as its first PMT tells it.
struct ProgramFacts {
    uint16_t number = 0;
    uint16_t pmt_pid = 0;
    uint16_t pcr_pid = zv::kPidNull;
    std::vector<uint16_t> streams;
    bool described = false;  // a PMT came
    bool pmt_moves = false;  // what follows changed later
    bool pcr_moves = false;
    bool streams_change = false;
};

class StreamFacts {
  public:
    // only: the programme that is to be copied; without it all are
    explicit StreamFacts(std::optional<uint16_t> only) : only_(only), tables_(only) {}

    void see(const FramedPacket& packet);

    uint64_t packets() const { return packets_; }
    const PidFacts& of(uint16_t pid) const { return pids_[pid]; }

    // -> how many programmes are listed, now or then; of one that is to be copied at most 1
    size_t programs() const { return listed_count_; }
    // Is it the number of a programme, or of a service that SDT or EIT describe?
    bool has_number(uint16_t number) const { return numbers_[number]; }

    // The programme that is to be copied, or the first one of the PAT.
    const ProgramFacts& first() const { return first_; }

    // Sections of the first PAT, PMT of that programme and CAT, with the PIDs on which they came.
    using PlacedSection = std::pair<uint16_t, std::vector<uint8_t>>;
    const std::vector<PlacedSection>& first_tables() const { return first_tables_; }

  private:
    bool is_watched(uint16_t pid) const;
    void see_section(uint16_t pid, const zv::survey::Section& section);
    void see_pat();
    void see_cat();
    void see_pmt(uint16_t pid, const zv::survey::Section& section);
    void see_first_pmt(const zv::survey::Section& section);
    void see_services(uint16_t pid, const zv::survey::Section& section);
    void keep_first(uint16_t pid, const WholeTable& table, bool& kept);

    std::optional<uint16_t> only_;
    TablesInForce tables_;
    zv::survey::SectionBudget budget_;
    std::vector<std::unique_ptr<PidSections>> sections_ =
        std::vector<std::unique_ptr<PidSections>>(zv::kPidCount);
    std::vector<PidFacts> pids_ = std::vector<PidFacts>(zv::kPidCount);
    std::vector<bool> numbers_ = std::vector<bool>(65536);
    std::vector<bool> listed_ = std::vector<bool>(65536);
    size_t listed_count_ = 0;
    ProgramFacts first_;
    bool has_pat_ = false, has_cat_ = false;
    std::vector<PlacedSection> first_tables_;
    uint64_t packets_ = 0;
};

}  // namespace zvprobe
