// SPDX-License-Identifier: MIT
// Implementation of program_map.h.
#include "ts/extract/program_map.h"

#include <algorithm>

namespace zvprobe {

using zv::survey::Section;

void ProgramMap::take(uint16_t pid, const Section& section) {
    if (!section.is_long() || !section.is_sound() || !section.is_current()) return;
    if (pid == zv::kPidPat && section.table_id() == zv::survey::kTableIdPat)
        take_pat(section);
    else if (pid == zv::kPidCat && section.table_id() == zv::survey::kTableIdCat)
        take_cat(section);
    else if (section.table_id() == zv::survey::kTableIdPmt)
        take_pmt(pid, section);
}

void ProgramMap::take_pat(const Section& pat) {
    has_pat_ = true;
    zv::survey::for_each_pat_entry(pat, [&](uint16_t number, uint16_t pid) {
        if (number == 0) return listener_.see_table_pid(pid, 0);
        const auto [found, added] = programs_.try_emplace(number);
        waiting_ += added ? 1U : 0U;
        if (found->second.pmt_pid == pid) return;
        found->second.pmt_pid = pid;
        listener_.see_pmt_pid(pid, number);
    });
}

void ProgramMap::take_cat(const Section& cat) {
    zv::survey::for_each_ca(cat.body(),
                            [&](uint16_t, uint16_t pid) { listener_.see_table_pid(pid, 0); });
}

void ProgramMap::take_pmt(uint16_t pid, const Section& section) {
    const uint16_t number = section.extension();
    const auto found = programs_.find(number);
    if (found == programs_.end() || found->second.pmt_pid != pid) return;
    std::vector<uint8_t>& latest = found->second.pmt;
    if (std::ranges::equal(latest, section.bytes())) return;
    waiting_ -= latest.empty() ? 1U : 0U;
    latest.assign(section.bytes().begin(), section.bytes().end());
    const zv::survey::PmtView pmt(latest);
    const auto see_ca = [&](uint16_t, uint16_t ca_pid) { listener_.see_table_pid(ca_pid, number); };
    zv::survey::for_each_ca(pmt.descriptors(), see_ca);
    pmt.for_each_stream([&](const zv::survey::PmtStream& stream) {
        zv::survey::for_each_ca(stream.descriptors, see_ca);
        listener_.see_stream(pmt, stream, number);
    });
}

}  // namespace zvprobe
