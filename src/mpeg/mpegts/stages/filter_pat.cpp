// SPDX-License-Identifier: MIT
// Program association table (ISO/IEC 13818-1, 2.4.4.3): the programme list of the context. Read
// once from a section that fits one packet; a later version or another list is not followed.
#include <algorithm>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/pid_dispatch.h"
#include "mpeg/mpegts/psi_layout.h"
#include "mpeg/mpegts/stages/continuity.h"
#include "mpeg/mpegts/stages/section.h"

namespace {

void dump_header(const MPEGTSContext& ctx, const zv::PacketBody& body, int start) {
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "-------[PAT]HEADER INFO: %d byte----------",
           zv::kPatHeaderSize);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "-------payload_offset: %d byte----------", start);
    if (ctx.ts_head.payload_unit_start_indicator == 1)
        LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "The psi has pointer_filed in the first byte ");
    else
        LOG(zv::kLogWarning, "MPEGTS",
            "[%s]The psi hasnot pointer_filed in the first byte:I dont support ,please fix me",
            zv::kProductTag);

    const int length = body.be12(start + 1);
    const int transport_stream_id = body.be16(start + 3);
    const int version = (body.u8(start + 5) >> 1) & 0x1F;
    const int section_number = body.u8(start + 6);
    const int last_section_number = body.u8(start + 7);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "section_len:%#x=%d", length, length);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "transport_stream_id:%#x=%d", transport_stream_id,
           transport_stream_id);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "vrsion_num:%#x=%d", version, version);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "section_num:%#x=%d", section_number, section_number);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "section_lastsec:%#x=%d", last_section_number,
           last_section_number);
}

bool crc_matches(const uint8_t* pkt, const zv::OnePacketSection& section) {
    const zv::SectionCrc crc = zv::section_crc(pkt + zv::kTsHeaderSize, section);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "crc:%#x=%u", crc.stored, crc.stored);
    if (crc.good()) return true;
    zvlog_innerapi_bufHex("PAT", pkt, zv::kTsPacketSize, __func__, __LINE__);
    zv::report_bad_crc(crc);
    return false;
}

// -> false when the list ends here because the PID cannot carry a PMT
bool store_program(MPEGTSContext& ctx, uint16_t program_number, uint16_t pid) {
    if (!zvsi_api_isValidPid(pid)) {
        LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "unvalid programid %d,out of range(%d~%d)", pid,
               zv::kPidFirstValid, zv::kPidLastValid);
        return false;
    }
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "pro_num(%d), pmt:%#x", program_number, pid);
    const uint16_t slot = ctx.totalnum_program;
    ctx.program[slot].program_number = program_number;
    ctx.program[slot].pmt_pid = pid;
    ctx.pid_pmt[slot] = pid;
    ctx.has_pat = 1;
    ctx.is_update = 1;
    ctx.totalnum_program = static_cast<uint16_t>(slot + 1);
    zv::forget_dispatch(ctx);
    return true;
}

// -> false when an entry with an invalid PID ended the walk; what came before it stays
bool read_programs(MPEGTSContext& ctx, const zv::PacketBody& body, int at, int count) {
    for (; count > 0 && at + zv::kPatEntrySize <= zv::kTsBodySize;
         --count, at += zv::kPatEntrySize) {
        const uint16_t program_number = body.be16(at);
        const uint16_t pid = body.pid(at + 2);
        if (program_number == 0) {
            ctx.pid_nit = pid;
            LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "pid_nit:%#x", pid);
            continue;
        }
        if (ctx.totalnum_program >= zv::kMaxPrograms) break;
        if (!store_program(ctx, program_number, pid)) return false;
        if (ctx.totalnum_program == zv::kMaxPrograms) {
            LOG(zv::kLogWarning, "MPEGTS", "Only support %d program", zv::kMaxPrograms);
            break;
        }
    }
    return true;
}

bool parse_section(MPEGTSContext& ctx, const uint8_t* pkt, int start) {
    const zv::PacketBody body(pkt + zv::kTsHeaderSize);
    dump_header(ctx, body, start);

    const zv::OnePacketSection section =
        zv::one_packet_section(ctx, pkt + zv::kTsHeaderSize, start);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "adaptation_field_len:%d", section.adaptation_len);
    if (!zv::fits_one_packet(section) || !crc_matches(pkt, section)) return false;

    const auto payload_len = static_cast<int16_t>(section.sum() - start - zv::kPatHeaderSize);
    if (payload_len % zv::kPatEntrySize != 0) {
        LOG(zv::kLogWarning, "MPEGTS",
            "[%s]Maybe payload_len is error.payload_len,section_len,adaptation_field_len,"
            "payload_offset:%d,%d,%d,%d,please fix me",
            zv::kProductTag, payload_len, section.section_length, section.adaptation_len, start);
        return false;
    }
    const int count = payload_len / zv::kPatEntrySize;
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS",
           "-------[PAT]program_loop,program_totalnum(payload_len:%d):%d----------", payload_len,
           count);
    return read_programs(ctx, body, start + zv::kPatHeaderSize, count);
}

}  // namespace

uint8_t mpegts_innerapi_filterPat(MPEGTSContext* ctx, const uint8_t* pkt, uint8_t flags) {
    if (ctx == nullptr || pkt == nullptr) {
        LOG(zv::kLogError, "MPEGTS", "dbuf is null");
        return 0;
    }
    if (ctx->ts_head.pid != zv::kPidPat) return 0;
    zv::check_table_continuity(*ctx, ctx->cc_pat, "PAT", flags);
    if (ctx->has_pat == 1) {
        mpegts_innerapi_getPeriod(&ctx->period_pat);
        ctx->is_update = 1;
        return 1;
    }
    const int start = mpegts_innerapi_isTargstTable("PAT", ctx, pkt + zv::kTsHeaderSize,
                                                    zv::kTableIdPat, DBG_PAT);
    if (start < 0 || !parse_section(*ctx, pkt, start)) return 0;
    if (ctx->pat_pkt[0] != zv::kTsSyncByte)
        memcpy(ctx->pat_pkt, pkt, std::min<size_t>(ctx->pkt_size, sizeof ctx->pat_pkt));
    return 1;
}
