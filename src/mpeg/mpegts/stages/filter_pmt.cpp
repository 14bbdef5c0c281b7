// SPDX-License-Identifier: MIT
// Program map table (ISO/IEC 13818-1, 2.4.4.8): PCR PID and elementary streams of one programme,
// read once from a section that fits one packet. In remap mode that first packet is rewritten in
// place.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/pid_dispatch.h"
#include "mpeg/mpegts/program_view.h"
#include "mpeg/mpegts/psi_layout.h"
#include "mpeg/mpegts/stages/continuity.h"
#include "mpeg/mpegts/stages/section.h"

namespace {

// Offsets from table_id.
constexpr int kProgramNumberAt = 3;
constexpr int kPcrPidAt = 8;

// What a stream_type means to the analyser.
struct StreamClass {
    const char* label;     // for the log; null for types without one
    uint32_t kind;         // MPEGTSStream::kind
    bool needs_valid_pid;  // video and audio; other streams are kept whatever their PID
};

struct TypeRow {
    uint8_t stream_type;
    const char* label;
    uint32_t kind;
};

constexpr TypeRow kStreamTypes[] = {
    {0x01, "video-mpeg1/2", zv::kKindVideo},    {0x02, "video-mpeg1/2", zv::kKindVideo},
    {0x10, "video-mpeg4", zv::kKindVideo},      {0x1b, "video-h264", zv::kKindVideo},
    {0x24, "video-hevc", zv::kKindVideo},       {0x42, "video-cavs", zv::kKindVideo},
    {0xea, "video-vc1", zv::kKindVideo},        {0xd1, "video-dirac", zv::kKindVideo},
    {0x03, "audio-mpeg1/2", zv::kKindAudio},    {0x04, "audio-mpeg1/2", zv::kKindAudio},
    {0x0f, "audio-aac", zv::kKindAudio},        {0x11, "audio-aac_latm", zv::kKindAudio},
    {0x81, "audio-ac3", zv::kKindAudio},        {0x87, "audio-eac3", zv::kKindAudio},
    {0x82, "audio-dts", zv::kKindAudio},        {0x83, "audio-truehd", zv::kKindAudio},
    {0x15, "metadata", zv::kKindOther},         {0x05, "private_sections", zv::kKindOther},
    {0x06, "pes_private_data", zv::kKindOther},
};

StreamClass classify_stream(uint8_t stream_type) {
    for (const TypeRow& row : kStreamTypes) {
        if (row.stream_type == stream_type)
            return {row.label, row.kind, row.kind != zv::kKindOther};
    }
    return {nullptr, zv::kKindOther, false};
}

// One entry of the stream loop.
struct StreamEntry {
    uint8_t stream_type;
    uint16_t pid;
    uint16_t es_info_len;  // as kept: 0 when the table gave more than there is room for
    uint8_t es_info[zv::kMaxEsInfo];
};

StreamEntry read_entry(const zv::PacketBody& body, int at) {
    StreamEntry entry = {
        .stream_type = body.u8(at),
        .pid = body.pid(at + 1),
        .es_info_len = body.be12(at + 3),
        .es_info = {},
    };
    if (entry.es_info_len > zv::kMaxEsInfo) {
        LOG(zv::kLogWarning, "MPEGTS", "[%s]esinfo_len=%d too long,drop it,please fix me",
            zv::kProductTag, entry.es_info_len);
        entry.es_info_len = 0;
    }
    if (entry.es_info_len != 0) {
        LOG(zv::kLogVerbose, "MPEGTS", "Has esinfo,len=%d", entry.es_info_len);
        for (int i = 0; i < entry.es_info_len; ++i)
            entry.es_info[i] = body.u8(at + zv::kPmtEntrySize + i);
    }
    return entry;
}

void log_entry(const StreamEntry& entry, const StreamClass& type) {
    if (type.label != nullptr)
        LOG_IF(DBG_PMT, zv::kLogInfo, "MPEGTS", "##stream: %s, pid:%#x,esinfo_len:%d", type.label,
               entry.pid, entry.es_info_len);
    else
        LOG_IF(DBG_PMT, zv::kLogInfo, "MPEGTS", "##stream:%#x unknow, pid:%#x,esinfo_len:%d",
               entry.stream_type, entry.pid, entry.es_info_len);
}

void store_stream(MPEGTSProgram& program, const StreamEntry& entry, uint32_t kind) {
    if (program.es_count < 0 || program.es_count >= zv::kMaxStreams) return;
    MPEGTSStream& stream = program.streams[program.es_count];
    stream.kind = kind;
    stream.pid = entry.pid;
    stream.stream_type = entry.stream_type;
    stream.es_info_len = entry.es_info_len;
    if (entry.es_info_len != 0) memcpy(stream.es_info, entry.es_info, sizeof stream.es_info);
    mpegts_innerapi_getAVTypeString(entry.stream_type, stream.type_name);
    program.es_count = static_cast<int8_t>(program.es_count + 1);
}

// -> null also when the packet's end cuts the programme number off: half a number names nothing
MPEGTSProgram* named_program(MPEGTSContext& ctx, MPEGTSProgram& first, const zv::PacketBody& body,
                             int start) {
    const int number_at = start + kProgramNumberAt;
    if (!body.has(number_at, 2)) return nullptr;
    return zv::find_program(ctx, &first, first.pmt_pid, body.be16(number_at));
}

// What a PMT packet is parsed into, and from.
struct PmtPacket {
    MPEGTSContext& ctx;
    MPEGTSProgram& program;
    uint8_t* pkt;
    int start;  // body offset of table_id

    zv::PacketBody body() const { return zv::PacketBody(pkt + zv::kTsHeaderSize); }
};

void store_entry(PmtPacket& pmt, const StreamEntry& entry, const StreamClass& type) {
    store_stream(pmt.program, entry, type.kind);
    zv::forget_dispatch(pmt.ctx);
    pmt.program.pmt_parsed = 1;
    pmt.ctx.is_update = 1;
    pmt.ctx.has_pmt = 1;
    uint8_t* copy = pmt.program.pmt_packet;
    if (copy[0] != zv::kTsSyncByte)
        memcpy(copy, pmt.pkt, std::min<size_t>(pmt.ctx.pkt_size, zv::kPacketCopySize));
}

// -> false when a stream of a known type has an invalid PID; what came before it stays
bool read_streams(PmtPacket& pmt, const zv::OnePacketSection& section, int program_info_length) {
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "-------[PMT]stream loop----------");
    const auto loop_len =
        static_cast<int16_t>(section.sum() - pmt.start - program_info_length - zv::kPmtHeaderSize);
    const int loop_at = pmt.start + zv::kPmtHeaderSize + program_info_length;
    for (int i = 0; i < loop_len;) {
        const StreamEntry entry = read_entry(pmt.body(), loop_at + i);
        // The kept length, 0 for over-long descriptors: the walk goes on inside these.
        i += entry.es_info_len + zv::kPmtEntrySize;

        const StreamClass type = classify_stream(entry.stream_type);
        if (type.needs_valid_pid && !zvsi_api_isValidPid(entry.pid)) {
            LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "unvalid epid %d,out of range(%d~%d)",
                   entry.pid, zv::kPidFirstValid, zv::kPidLastValid);
            return false;
        }
        log_entry(entry, type);
        store_entry(pmt, entry, type);
    }
    return true;
}

// The identifiers of the header; -> false when the PCR PID is invalid
bool read_header(PmtPacket& pmt, int section_length) {
    const zv::PacketBody body = pmt.body();
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "-------[PMT]HEADER INFO:%d byte----------",
           zv::kPmtHeaderSize);
    if (pmt.ctx.ts_head.payload_unit_start_indicator == 1)
        LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "The psi has pointer_filed in the first byte ");
    else
        LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS",
               "The psi hasnot pointer_filed in the first byte:I dont support,fix me ");

    MPEGTSProgram& program = pmt.program;
    program.program_number = body.be16(pmt.start + kProgramNumberAt);
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "program:%d=%#x", program.program_number,
           program.program_number);
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "section_len:%d", section_length);
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "section_num:%d", body.u8(pmt.start + 6));
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "section_lastsec:%d", body.u8(pmt.start + 7));
    // A PCR PID that the packet's end cuts off counts as 0, no valid one, and is not kept.
    const bool has_pcr_pid = body.has(pmt.start + kPcrPidAt, 2);
    const uint16_t pcr_pid = has_pcr_pid ? body.pid(pmt.start + kPcrPidAt) : uint16_t{0};
    if (has_pcr_pid) program.pcr_pid = pcr_pid;
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "pid_pcr:%#x", pcr_pid);
    if (!zvsi_api_isValidPid(pcr_pid)) {
        LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "unvalid pid_pcr %d,out of range(%d~%d)", pcr_pid,
               zv::kPidFirstValid, zv::kPidLastValid);
        return false;
    }
    return true;
}

void store_be32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

// The programme number is written even when it is 0: a valid new PID alone asks for the rewrite.
void rewrite(const PmtPacket& pmt, const zv::OnePacketSection& section, uint16_t new_pid,
             uint16_t new_program_number) {
    uint8_t* body = pmt.pkt + zv::kTsHeaderSize;
    zvsi_api_tsHeaderRemap(new_pid, pmt.pkt);
    uint8_t* number = body + pmt.start + kProgramNumberAt;
    number[0] = static_cast<uint8_t>(new_program_number >> 8);
    number[1] = static_cast<uint8_t>(new_program_number);
    store_be32(body + section.crc_at(), zv::section_crc(body, section).computed);
}

bool parse_section(PmtPacket& pmt, uint8_t flags, uint16_t new_pid, uint16_t new_program_number) {
    const uint8_t* body_bytes = pmt.pkt + zv::kTsHeaderSize;
    const zv::OnePacketSection section = zv::one_packet_section(pmt.ctx, body_bytes, pmt.start);
    if (!read_header(pmt, section.section_length)) return false;
    const int program_info_length = pmt.body().be12(pmt.start + 10);
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "-------[PMT]program_info_des_loop----------");
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "program_info_len:%d", program_info_length);
    if (!zv::fits_one_packet(section)) return false;

    const zv::SectionCrc crc = zv::section_crc(body_bytes, section);
    LOG_IF(DBG_PMT, zv::kLogDebug, "MPEGTS", "crc:%#x=%u", crc.stored, crc.stored);
    if (!crc.good()) {
        zv::report_bad_crc(crc);
        return false;
    }
    const bool wanted = zvsi_api_isValidPid(new_pid) || new_program_number != 0;
    if ((flags & ZV_TS_REMAP) && wanted) rewrite(pmt, section, new_pid, new_program_number);
    return read_streams(pmt, section, program_info_length);
}

}  // namespace

uint32_t mpegts_innerapi_filterPmt(MPEGTSContext* ctx, uint8_t* pkt, uint8_t flags,
                                   uint16_t new_pid, uint16_t new_program_number) {
    if (ctx == nullptr || pkt == nullptr) return 0;
    MPEGTSProgram* first = zv::find_program_on(*ctx, ctx->ts_head.pid);
    return first != nullptr ? zv::take_pmt(*ctx, *first, pkt, flags, new_pid, new_program_number)
                            : 0;
}

uint32_t zv::take_pmt(MPEGTSContext& ctx, MPEGTSProgram& first, uint8_t* pkt, uint8_t flags,
                      uint16_t new_pid, uint16_t new_program_number) {
    if (!ctx.has_pat) return 0;
    const uint8_t* body = pkt + kTsHeaderSize;
    const int start = mpegts_innerapi_isTargstTable("PMT", &ctx, body, kTableIdPmt, 0);
    if (start < 0) return 0;
    MPEGTSProgram* program = named_program(ctx, first, PacketBody(body), start);
    if (program == nullptr) return 0;

    check_table_continuity(ctx, program->cc_state, "PMT", flags);
    if (program->pmt_parsed == 1) {
        mpegts_innerapi_getPeriod(&program->period);
        ctx.is_update = 1;
        return 1;
    }
    PmtPacket pmt = {ctx, *program, pkt, start};
    return parse_section(pmt, flags, new_pid, new_program_number);
}
