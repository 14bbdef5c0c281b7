// SPDX-License-Identifier: MIT
// Arrival periods and continuity counters of every table and stream, as a block of log lines.
#include "bitStream/log.h"
#include "mpeg/mpegts/context.h"
#include "mpeg/mpegts/number_text.h"
#include "mpeg/mpegts/program_view.h"

void mpegts_innerapi_showStatistics(MPEGTSContext* ctx) {
    if (ctx == nullptr || !zv::log_enabled(zv::kLogInfo, "MPEGTS")) return;
    using zv::NumberText;
    LOG(zv::kLogInfo, "MPEGTS", "-------------------------------------------------------");
    LOG(zv::kLogInfo, "MPEGTS", "* pktSize:%d", ctx->pkt_size);
    LOG(zv::kLogInfo, "MPEGTS", "[PAT]period,numErr,numLost:%s,%d,%d",
        NumberText(ctx->period_pat.period).text, ctx->cc_pat.errnum, ctx->cc_pat.lostnum);
    LOG(zv::kLogInfo, "MPEGTS", "[SDT]period,numErr,numLost:%s,%d,%d",
        NumberText(ctx->period_sdt.period).text, ctx->cc_sdt.errnum, ctx->cc_sdt.lostnum);
    for (const MPEGTSProgram& program : zv::programs(*ctx)) {
        LOG(zv::kLogInfo, "MPEGTS", "[PMT-%#x]period,numErr,numLost:%s,%d,%d", program.pmt_pid,
            NumberText(program.period.period).text, program.cc_state.errnum,
            program.cc_state.lostnum);
        LOG(zv::kLogInfo, "MPEGTS", "[pcr-%#x]period:%s", program.pcr_pid,
            NumberText(program.pcr_period.period).text);
        for (const MPEGTSStream& stream : zv::streams(program))
            LOG(zv::kLogInfo, "MPEGTS", "[%.64s-%#x]numErr,numLost:%d,%d", stream.type_name,
                stream.pid, stream.cc_state.errnum, stream.cc_state.lostnum);
    }
}
