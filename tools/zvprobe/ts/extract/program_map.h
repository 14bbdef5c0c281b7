// SPDX-License-Identifier: MIT
// What the tables of a stream name over its whole length: programmes, streams, PIDs with further
// tables. A later version adds to it, and nothing is taken back.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "survey/psi/psi.h"

namespace zvprobe {

// Called for what a table names, whenever a new version of it comes.
struct ProgramMapListener {
    // The PID of a programme's PMT.
    std::function<void(uint16_t pid, uint16_t program)> see_pmt_pid;

    // A PID with other tables; program is 0 when it belongs to none.
    std::function<void(uint16_t pid, uint16_t program)> see_table_pid;

    std::function<void(const zv::survey::PmtView& pmt, const zv::survey::PmtStream& stream,
                       uint16_t program)>
        see_stream;
};

class ProgramMap {
  public:
    explicit ProgramMap(ProgramMapListener listener) : listener_(std::move(listener)) {}

    // Takes a section that came on a PID, sound or not.
    void take(uint16_t pid, const zv::survey::Section& section);

    // -> true when there is a PAT, and each programme in it has had its PMT
    bool is_complete() const { return has_pat_ && waiting_ == 0; }

    bool has_program(uint16_t number) const { return programs_.contains(number); }

  private:
    struct Program {
        uint16_t pmt_pid = zv::kPidNull;
        std::vector<uint8_t> pmt;  // the latest section
    };

    void take_pat(const zv::survey::Section& pat);
    void take_cat(const zv::survey::Section& cat);
    void take_pmt(uint16_t pid, const zv::survey::Section& pmt);

    ProgramMapListener listener_;
    std::map<uint16_t, Program> programs_;  // by program_number
    bool has_pat_ = false;
    size_t waiting_ = 0;  // programmes without a PMT so far
};

}  // namespace zvprobe
