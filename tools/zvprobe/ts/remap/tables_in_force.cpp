// SPDX-License-Identifier: MIT
// Implementation of tables_in_force.h.
#include "ts/remap/tables_in_force.h"

#include <algorithm>

namespace zvprobe {

using namespace zv::survey;

bool WholeTable::see(const Section& section) {
    const auto known = gathered_.find(section.number());
    const bool same_version =
        section.version() == version_ && section.last_number() == last_number_;
    if (same_version && known != gathered_.end()) {
        if (std::ranges::equal(known->second, section.bytes())) return false;
        gathered_.clear();
    }
    if (!same_version) gathered_.clear();
    version_ = section.version();
    last_number_ = section.last_number();
    gathered_[section.number()].assign(section.bytes().begin(), section.bytes().end());
    if (gathered_.size() != size_t{last_number_} + 1) return false;
    whole_.clear();
    for (const auto& [number, bytes] : gathered_)
        whole_.push_back(bytes);
    return true;
}

bool TablesInForce::see(uint16_t pid, const Section& section) {
    if (!section.is_long()) return false;
    if (pid == zv::kPidPat && section.table_id() == kTableIdPat) {
        if (!pat_.see(section)) return false;
        read_pat();
        return true;
    }
    if (pid == zv::kPidCat && section.table_id() == kTableIdCat) {
        if (!cat_.see(section)) return false;
        read_cat();
        return true;
    }
    return carries_pmt(pid) && section.table_id() == kTableIdPmt && see_pmt(section);
}

void TablesInForce::read_pat() {
    pmt_pids_.clear();
    of_network_.clear();
    programs_.clear();
    for (const auto& bytes : pat_.sections()) {
        for_each_pat_entry(Section(bytes), [&](uint16_t number, uint16_t pid) {
            if (number == 0) return of_network_.add(pid);
            if (only_ && number != *only_) return;
            pmt_pids_.add(pid);
            programs_.emplace_back(number, pid);
        });
    }
    if (!programs_.empty()) return;
    of_pmt_.clear();
    pmt_.clear();
}

void TablesInForce::read_cat() {
    of_cat_.clear();
    for (const auto& bytes : cat_.sections())
        for_each_ca(Section(bytes).body(), [&](uint16_t, uint16_t pid) { of_cat_.add(pid); });
}

bool TablesInForce::see_pmt(const Section& section) {
    if (!only_) return true;
    if (section.extension() != *only_) return false;
    if (std::ranges::equal(pmt_, section.bytes())) return false;
    pmt_.assign(section.bytes().begin(), section.bytes().end());
    of_pmt_.clear();
    for_each_pid_of_pmt(section, [&](uint16_t pid) { of_pmt_.add(pid); });
    return true;
}

}  // namespace zvprobe
