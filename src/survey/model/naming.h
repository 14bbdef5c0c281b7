// SPDX-License-Identifier: MIT
// What each PID is for, as the tables in force say, and by standard.
#pragma once

#include <optional>
#include <vector>

#include "survey/model/model.h"

namespace zv::survey {

struct PidNaming {
    bool pmt = false;
    bool network = false;
    bool pcr = false;
    bool ecm = false;
    bool emm = false;
    bool in_sections = false;            // of the stream
    std::optional<uint8_t> stream_type;  // of the first programme in the PAT's order that lists it
    StreamCodec codec{};
    std::vector<uint16_t> programs;  // numbers of those that name it, ascending
};

class Naming {
  public:
    explicit Naming(const Model& model);

    const PidNaming& operator[](uint16_t pid) const { return pids_[pid]; }

    // -> what the PID is for: "pat", "video", "unreferenced", ...
    const char* use(uint16_t pid) const;

  private:
    void name_streams(const Program& program, const Pids& model_pids);
    void add_program(uint16_t pid, uint16_t number);

    std::vector<PidNaming> pids_;
};

}  // namespace zv::survey
