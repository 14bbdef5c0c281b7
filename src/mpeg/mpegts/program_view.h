// SPDX-License-Identifier: MIT
// The used part of the programme table, of a programme's streams and of the services, never more
// than there is room for, whatever the counts say.
#pragma once

#include <algorithm>
#include <span>

#include "mpeg/mpegts/context.h"

namespace zv {

inline std::span<MPEGTSProgram> programs(MPEGTSContext& ctx) {
    return {ctx.program, std::min<size_t>(ctx.totalnum_program, kMaxPrograms)};
}

inline std::span<const MPEGTSProgram> programs(const MPEGTSContext& ctx) {
    return {ctx.program, std::min<size_t>(ctx.totalnum_program, kMaxPrograms)};
}

// -> the first programme whose valid pmt_pid is the PID, else null
inline MPEGTSProgram* find_program_on(MPEGTSContext& ctx, uint16_t pid) {
    if (!zvsi_api_isValidPid(pid)) return nullptr;
    for (MPEGTSProgram& program : programs(ctx)) {
        if (program.pmt_pid == pid) return &program;
    }
    return nullptr;
}

// -> the first programme from `first` on with that PMT PID whose number is 0 or equal, else null
inline MPEGTSProgram* find_program(MPEGTSContext& ctx, MPEGTSProgram* first, uint16_t pmt_pid,
                                   uint16_t program_number) {
    const auto all = programs(ctx);
    for (MPEGTSProgram* program = first; program < all.data() + all.size(); ++program) {
        const bool same_number =
            program->program_number == 0 || program->program_number == program_number;
        if (program->pmt_pid == pmt_pid && same_number) return program;
    }
    return nullptr;
}

inline size_t stream_count(const MPEGTSProgram& program) {
    return static_cast<size_t>(std::clamp<int>(program.es_count, 0, kMaxStreams));
}
inline std::span<MPEGTSStream> streams(MPEGTSProgram& program) {
    return {program.streams, stream_count(program)};
}
inline std::span<const MPEGTSStream> streams(const MPEGTSProgram& program) {
    return {program.streams, stream_count(program)};
}

// -> the service of that number, else null
inline const MPEGTSService* find_service(const MPEGTSSdt& sdt, uint16_t service_id) {
    const std::span services(sdt.services, std::min<size_t>(sdt.service_count, kMaxPrograms));
    for (const MPEGTSService& service : services) {
        if (service.service_id == service_id) return &service;
    }
    return nullptr;
}

}  // namespace zv
