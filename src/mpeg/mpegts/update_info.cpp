// SPDX-License-Identifier: MIT
// From the analyser's context to the host's record: progress while tables are collected, everything
// once they are known.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/context.h"
#include "mpeg/mpegts/copy_text.h"
#include "mpeg/mpegts/program_view.h"

namespace {

template <size_t Size>
void set_text(char (&to)[Size], const char* from) {
    memset(to, 0, Size);
    memcpy(to, from, strnlen(from, Size - 1));
}

void report_progress(MPEGTSContext& ctx, StreamInfo& info) {
    memset(info.progress, 0, sizeof info.progress);
    snprintf(info.progress, sizeof info.progress, "Found %u/%u PMT", ctx.num_pmtInfo,
             ctx.totalnum_program);
    LOG(zv::kLogDebug, "MPEGTS", "parseProgressInfo:%s", info.progress);
    ctx.has_pmt = 0;
}

// Copies a saved packet once: a copy that begins with a sync byte is kept.
void take_packet(uint8_t (&to)[zv::kParityPacketSize], uint8_t& to_len, const uint8_t* saved,
                 uint8_t size) {
    if (to[0] == zv::kTsSyncByte) return;
    to_len = std::min<uint8_t>(size, sizeof to);
    memcpy(to, saved, to_len);
}

void copy_stream(const MPEGTSStream& from, StreamInfoEs& to) {
    to.pid = from.pid;
    to.stream_type = from.stream_type;
    to.es_info_len = from.es_info_len;
    memcpy(to.es_info, from.es_info, std::min<size_t>(from.es_info_len, sizeof to.es_info));
    to.kind = static_cast<int32_t>(from.kind);
    zv::copy_text_or_report(to.type_name, from.type_name, sizeof from.type_name);
    to.cc_state = from.cc_state;
    to.numPcr_noInPmt = from.numPcr_noInPmt;
}

void copy_program(MPEGTSContext& ctx, const MPEGTSProgram& from, StreamInfoProgram& to) {
    to.pmt_pid = from.pmt_pid;
    to.program_number = from.program_number;
    to.pcr_pid = from.pcr_pid;
    to.es_count = from.es_count;
    StreamInfoEs* stream_info = to.streams;
    for (const MPEGTSStream& stream : zv::streams(from))
        copy_stream(stream, *stream_info++);
    to.pcr_period = static_cast<int64_t>(from.pcr_period.period);
    to.pmt_period = static_cast<int64_t>(from.period.period);
    take_packet(to.pmt_packet, to.pmt_packet_len, from.pmt_packet, ctx.pkt_size);

    const MPEGTSService* service = zv::find_service(ctx.sdt, from.program_number);
    if (service == nullptr) return;
    to.has_service = 1;
    memset(to.service_type, 0, sizeof to.service_type);
    mpegts_innerapi_getServiceTypeString(&to, service, &ctx);
    set_text(to.service_provider, service->provider_name);
    set_text(to.service_name, service->service_name);
}

}  // namespace

int mpegts_updateInfo(MPEGTSContext* ctx, StreamInfo* info) {
    if (ctx == nullptr || info == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return -1;
    }
    if (!ctx->is_getAllInfo && ctx->is_update == 1 && ctx->has_pat && ctx->has_pmt)
        report_progress(*ctx, *info);
    if (!ctx->is_getAllInfo || !ctx->is_update) return -1;

    set_text(info->format, "mpegts");
    set_text(info->progress, "Finished!");
    info->pkt_size = ctx->pkt_size;
    info->program_count = ctx->totalnum_program;
    info->pat_period = static_cast<int64_t>(ctx->period_pat.period);
    info->sdt_period = static_cast<int64_t>(ctx->period_sdt.period);
    take_packet(info->packet, info->packet_len, ctx->pat_pkt, ctx->pkt_size);
    StreamInfoProgram* program_info = info->programs;
    for (const MPEGTSProgram& program : zv::programs(*ctx))
        copy_program(*ctx, program, *program_info++);
    ctx->is_update = 0;
    return 1;
}
