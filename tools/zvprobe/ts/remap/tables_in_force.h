// SPDX-License-Identifier: MIT
// The tables of a stream as they come and change: which PIDs carry a PMT, and which belong to one
// programme.
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "survey/psi/psi.h"

namespace zvprobe {

// A set of PIDs that is emptied at no cost, however often a stream changes.
class PidSet {
  public:
    void clear() { ++round_; }
    void add(uint16_t pid) { rounds_[pid] = round_; }
    bool has(uint16_t pid) const { return rounds_[pid] == round_; }

  private:
    uint64_t round_ = 1;
    std::vector<uint64_t> rounds_ = std::vector<uint64_t>(zv::kPidCount);
};

// A table of any number of sections. Other contents under the same version number count as another
// version, as when one recording is appended to another.
class WholeTable {
  public:
    // -> true when the section makes another version whole
    bool see(const zv::survey::Section& section);

    // The sections of the latest whole version.
    const std::vector<std::vector<uint8_t>>& sections() const { return whole_; }

  private:
    std::map<uint8_t, std::vector<uint8_t>> gathered_;
    uint8_t version_ = 0;
    uint8_t last_number_ = 0;
    std::vector<std::vector<uint8_t>> whole_;
};

// Calls see(pid) for each PID that a PMT names: of the clock, of streams, of conditional access.
template <typename See>
void for_each_pid_of_pmt(const zv::survey::Section& section, See see) {
    const zv::survey::PmtView pmt(section.bytes());
    const auto see_ca = [&](uint16_t, uint16_t pid) { see(pid); };
    if (pmt.pcr_pid() != zv::kPidNull) see(pmt.pcr_pid());
    zv::survey::for_each_ca(pmt.descriptors(), see_ca);
    pmt.for_each_stream([&](const zv::survey::PmtStream& stream) {
        see(stream.pid);
        zv::survey::for_each_ca(stream.descriptors, see_ca);
    });
}

class TablesInForce {
  public:
    // only: the programme that is of interest; without it all are
    explicit TablesInForce(std::optional<uint16_t> only) : only_(only) {}

    // Takes a sound section in force. -> true when it changed what the tables say
    bool see(uint16_t pid, const zv::survey::Section& section);

    bool carries_pmt(uint16_t pid) const { return pmt_pids_.has(pid); }

    // Does a PID belong to the one programme, or to service information, which goes with any?
    bool is_of_programme(uint16_t pid) const {
        return pid <= zv::kLastReservedPid || pid == zv::kPidNull || pmt_pids_.has(pid) ||
               of_network_.has(pid) || of_pmt_.has(pid) || of_cat_.has(pid);
    }

    // Programmes that are of interest, and the PIDs of their PMTs.
    const std::vector<std::pair<uint16_t, uint16_t>>& programs() const { return programs_; }

    const WholeTable& pat() const { return pat_; }
    const WholeTable& cat() const { return cat_; }

  private:
    void read_pat();
    void read_cat();
    bool see_pmt(const zv::survey::Section& section);

    std::optional<uint16_t> only_;
    WholeTable pat_, cat_;
    std::vector<std::pair<uint16_t, uint16_t>> programs_;
    std::vector<uint8_t> pmt_;  // of the one programme
    PidSet pmt_pids_, of_network_, of_pmt_, of_cat_;
};

}  // namespace zvprobe
