// SPDX-License-Identifier: MIT
// Implementation of naming.h.
#include "survey/model/naming.h"

#include <algorithm>

namespace zv::survey {
namespace {

// EN 300 468, table 1: what is on a PID by standard, null for the others.
const char* fixed_use(uint16_t pid) {
    switch (pid) {
        case kPidPat:
            return "pat";
        case kPidCat:
            return "cat";
        case 0x0002:
            return "tsdt";
        case kPidNit:
            return "nit";
        case kPidSdt:
            return "sdt_bat";
        case kPidEit:
            return "eit";
        case kPidRst:
            return "rst";
        case kPidTdt:
            return "tdt_tot";
        case kPidPsip:
            return "psip";
        case kPidNull:
            return "null";
        default:
            return nullptr;
    }
}

}  // namespace

Naming::Naming(const Model& model) : pids_(kPidCount) {
    for (const uint16_t pid : model.network_pids())
        pids_[pid].network = true;
    model.for_each_emm_pid([&](uint16_t pid) { pids_[pid].emm = true; });
    for (const Program& program : model.programs()) {
        pids_[program.pmt_pid].pmt = true;
        add_program(program.pmt_pid, program.number);
        if (program.has_pmt()) name_streams(program, model.pids());
    }
    for (PidNaming& naming : pids_)
        std::ranges::sort(naming.programs);
}

// The programmes come one after the other, so that a second mention stands at the end.
void Naming::add_program(uint16_t pid, uint16_t number) {
    auto& programs = pids_[pid].programs;
    if (programs.empty() || programs.back() != number) programs.push_back(number);
}

void Naming::name_streams(const Program& program, const Pids& model_pids) {
    const PmtView pmt = program.view();
    const auto name_ecm = [&](uint16_t, uint16_t pid) {
        pids_[pid].ecm = true;
        add_program(pid, program.number);
    };
    if (const auto pcr_pid = program.pcr_pid()) {
        pids_[*pcr_pid].pcr = true;
        add_program(*pcr_pid, program.number);
    }
    for_each_ca(pmt.descriptors(), name_ecm);
    pmt.for_each_stream([&](const PmtStream& stream) {
        PidNaming& naming = pids_[stream.pid];
        add_program(stream.pid, program.number);
        for_each_ca(stream.descriptors, name_ecm);
        if (naming.stream_type) return;
        naming.stream_type = stream.stream_type;
        naming.in_sections = carried_in_sections(pmt, stream);
        naming.codec = codec_of(pmt, stream, model_pids);
    });
}

const char* Naming::use(uint16_t pid) const {
    if (const char* const use = fixed_use(pid)) return use;
    const PidNaming& naming = pids_[pid];
    if (naming.network) return "nit";
    if (naming.pmt) return "pmt";
    if (naming.emm) return "emm";
    if (naming.ecm) return "ecm";
    if (naming.in_sections) return "sections";
    if (naming.stream_type) return kind_name(naming.codec.kind);
    if (naming.pcr) return "pcr";
    return pid <= kLastReservedPid ? "reserved" : "unreferenced";
}

}  // namespace zv::survey
