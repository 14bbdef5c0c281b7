// SPDX-License-Identifier: MIT
// PES packets of one elementary stream: where they start, messages about them, and pacing by their
// time stamps. What a header changes is in pes_timing.h.
#include <algorithm>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/stages/pes_timing.h"

namespace {

using zv::NumberText;

constexpr int kPesLastReadByte = 18;     // end of the DTS
constexpr int kPesBytesToRecognise = 7;  // start code to the '10' marker

const char* stream_id_class(uint32_t stream_id) {
    if (stream_id >= 0xC0 && stream_id <= 0xDF) return "audio";
    if (stream_id >= 0xE0 && stream_id <= 0xEF) return "video";
    switch (stream_id) {
        case 0xBC:
            return "psm";
        case 0xBD:
            return "private1";
        case 0xBE:
            return "padding";
        case 0xBF:
            return "private2";
        case 0xF0:
            return "ecm";
        case 0xF1:
            return "emm";
        case 0xF2:
            return "dsmcc";
        case 0xF3:
            return "mheg";
        case 0xF8:
            return "h222_1_e";
        case 0xFF:
            return "psd";
        default:
            return "错误";
    }
}

// A valid time stamp of one of the two clocks of a stream, and the last one before it.
struct Stamp {
    const char* name;  // in messages
    uint64_t now_us;
    uint64_t last_us;
};

void log_step_back(const Stamp& stamp, uint16_t pid) {
    if (!DBG_PES_PTSDTS) return;
    LOG(zv::kLogWarning, "MPEGTS", "[%#x]%s:%s us,上次是:%s us,非线性%s", pid, stamp.name,
        NumberText(stamp.now_us).text, NumberText(stamp.last_us).text, stamp.name);
}

void log_step(const Stamp& stamp, uint16_t pid) {
    if (!DBG_PES_PTSDTS) return;
    LOG(zv::kLogDebug, "MPEGTS", "[%#x]%s:%s us,上次是:%s us,时差%s us", pid, stamp.name,
        NumberText(stamp.now_us).text, NumberText(stamp.last_us).text,
        NumberText(stamp.now_us - stamp.last_us).text);
}

// The first time stamp is only remembered; one that goes back never paces and is the next reference.
// -> true when the stamp may pace
bool follow(const Stamp& stamp, uint16_t pid) {
    if (stamp.last_us == 0) return false;
    if (stamp.now_us < stamp.last_us) {
        log_step_back(stamp, pid);
        return false;
    }
    log_step(stamp, pid);
    return true;
}

void read_pts(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* header, uint8_t pace) {
    const zv::StampStep step = zv::take_pts(es.timing, header);
    const uint64_t now = es.timing.pts_us;
    if (!step.is_valid)
        LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]PTS:无效", es.pid);
    else if (follow({"PTS", now, step.last_us}, es.pid) && pace != 0)
        mpegts_api_rateEmuLong(ctx.name, "pts", &ctx.rate_pts, static_cast<int64_t>(now), 1);
}

// Only a stream that never carried a PTS paces on its DTS.
void read_dts(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* header, uint8_t pace) {
    const zv::StampStep step = zv::take_dts(es.timing, header);
    const uint64_t now = es.timing.dts_us;
    if (!step.is_valid)
        LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]DTS:无效", es.pid);
    else if (follow({"DTS", now, step.last_us}, es.pid) && pace != 0 && es.timing.ptsSeen == 0)
        mpegts_api_rateEmuLong(ctx.name, "dts", &ctx.rate_dts, static_cast<int64_t>(now), 1);
}

void report_previous(const MPEGTSStream& es) {
    const unsigned received = es.timing.pes_data_recvd;
    if (received == 0) return;
    // An exact multiple counts one packet more, a remainder none: established figures.
    const unsigned packets = received / zv::kTsBodySize + (received % zv::kTsBodySize == 0);
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]总接收长度:%u,大约%u个TS包", es.pid, received,
           packets);
}

void log_lengths(const MPEGTSStream& es, const uint8_t* header) {
    if (!DBG_PES) return;
    const unsigned header_len = pes_get_headerlength(header);
    LOG(zv::kLogDebug, "MPEGTS", "[%#x]头长度:%u，头总长度为:%u", es.pid, header_len,
        header_len + unsigned{zv::kPesFixedHeaderSize});
    if (pes_get_length(header) == 0)
        LOG(zv::kLogDebug, "MPEGTS", "[%#x]数据长度:无界长度,pes_data_recvd:%u", es.pid,
            es.timing.pes_data_recvd);
    else
        LOG(zv::kLogDebug, "MPEGTS", "[%#x]数据长度:%u,pes_data_recvd:%u", es.pid,
            es.timing.pesDataLen, es.timing.pes_data_recvd);
}

void parse_header(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* header, int bytes_here,
                  uint8_t pace) {
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]开始码:0x000001", es.pid);
    es.timing.pes_data_recvd = 0;
    const uint32_t stream_id = pes_get_streamid(header);
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]流ID:%#x-%s", es.pid, stream_id,
           stream_id_class(stream_id));
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]包长度:%u", es.pid, pes_get_length(header));
    if (!pes_validate_header(header)) {
        LOG(zv::kLogError, "MPEGTS", "[%#x]比特标记:错误,不是0x80而是%#x", es.pid,
            header[6] & 0xC0);
        return;
    }
    if (pes_get_dataalignment(header))
        LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]数据对齐:是", es.pid);
    read_pts(ctx, es, header, pace);
    read_dts(ctx, es, header, pace);
    zv::count_start(es.timing, header, bytes_here);
    log_lengths(es, header);
}

// A header is recognised by its first seven bytes, so none can be found closer to the packet's end.
int find_header(const uint8_t* payload) {
    if (zv::starts_pes_header(payload)) return 0;
    return pes_find(payload, zv::kTsBodySize - kPesBytesToRecognise + 1);
}

}  // namespace

void mpegts_innerapi_filterPes(MPEGTSContext* ctx, MPEGTSStream* es, const uint8_t* payload,
                               uint8_t pace) {
    if (ctx->ts_head.payload_unit_start_indicator != 1) {
        zv::count_payload(es->timing, zv::kTsBodySize);
        return;
    }
    const int offset = find_header(payload);
    if (offset < 0) {
        zv::count_payload(es->timing, zv::kTsBodySize);
        zvlog_innerapi_bufHex("pesPkt", payload, zv::kTsBodySize, __func__, __LINE__);
        return;
    }
    report_previous(*es);
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]---------------------------新的PES头，偏移%d",
           es->pid, offset);

    // What a header cut by the packet's end lacks reads as zero.
    const int bytes_here = zv::kTsBodySize - offset;
    uint8_t header[kPesLastReadByte + 1] = {};
    memcpy(header, payload + offset, static_cast<size_t>(std::min<int>(bytes_here, sizeof header)));
    parse_header(*ctx, *es, header, bytes_here, pace);
}
