// SPDX-License-Identifier: MIT
// Plain look-ups over the programme table, most of them by the PID of the current packet. The parse
// loop has a faster way once all tables are known: pid_dispatch.h.
#include <algorithm>

#include "bitStream/log.h"
#include "mpeg/mpegts/context.h"
#include "mpeg/mpegts/program_view.h"

MPEGTSProgram* mpegts_innerapi_findPmt_byPCRPid(MPEGTSContext* ctx) {
    const uint16_t pid = ctx->ts_head.pid;
    if (!zvsi_api_isValidPid(pid)) return nullptr;
    for (MPEGTSProgram& program : zv::programs(*ctx)) {
        if (program.pcr_pid == pid) return &program;
    }
    return nullptr;
}

MPEGTSProgram* mpegts_innerapi_findPmt_byPid(MPEGTSContext* ctx, uint16_t program_number) {
    const uint16_t pid = ctx->ts_head.pid;
    if (!zvsi_api_isValidPid(pid)) return nullptr;
    return zv::find_program(*ctx, ctx->program, pid, program_number);
}

int mpegts_innerapi_isPmt_byPid(MPEGTSContext* ctx) {
    return zv::find_program_on(*ctx, ctx->ts_head.pid) != nullptr;
}

MPEGTSStream* mpegts_innerapi_findEs(MPEGTSContext* ctx, int* prog_idx_out, int* es_idx_out) {
    for (MPEGTSProgram& program : zv::programs(*ctx)) {
        for (MPEGTSStream& stream : zv::streams(program)) {
            if (stream.pid != ctx->ts_head.pid) continue;
            if (prog_idx_out) *prog_idx_out = static_cast<int>(&program - ctx->program);
            if (es_idx_out) *es_idx_out = static_cast<int>(&stream - program.streams);
            return &stream;
        }
    }
    return nullptr;
}

MPEGTSStream* mpegts_innerapi_getBtcEs(MPEGTSContext* ctx) {
    MPEGTSStream* first = nullptr;
    MPEGTSStream* chosen = nullptr;
    for (MPEGTSProgram& program : zv::programs(*ctx)) {
        for (MPEGTSStream& stream : zv::streams(program)) {
            if (first == nullptr) first = &stream;
            if (chosen == nullptr && stream.kind == zv::kKindVideo) chosen = &stream;
        }
    }
    if (chosen == nullptr) chosen = first;
    if (chosen) LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "使用ES[%d]来控制码率", chosen->pid);
    return chosen;
}

int mpegts_innerapi_isGetAllInfo(MPEGTSContext* ctx) {
    const auto programs = zv::programs(*ctx);
    ctx->num_pmtInfo = static_cast<uint16_t>(std::ranges::count_if(
        programs, [](const MPEGTSProgram& program) { return program.pmt_parsed == 1; }));
    if (ctx->totalnum_program != 0 && ctx->num_pmtInfo == ctx->totalnum_program) {
        LOG(zv::kLogInfo, "MPEGTS", "Find all info,totalnum_program:%d,num_pmtInfo:%d",
            ctx->totalnum_program, ctx->num_pmtInfo);
        return 1;
    }
    LOG_IF(DBG_FIND_INFO, zv::kLogDebug, "MPEGTS", "program_num,num_pmtInfo:%d,%d",
           ctx->totalnum_program, ctx->num_pmtInfo);
    return 0;
}
