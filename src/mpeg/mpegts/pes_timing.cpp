// SPDX-License-Identifier: MIT
// PES packets of one elementary stream (ISO/IEC 13818-1, 2.4.3.6): where they start, how much of
// them arrived, their PTS and DTS, and pacing by these.
#include <algorithm>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/number_text.h"
#include "mpeg/ts_packet/pes_header.h"

namespace {

using zv::NumberText;

constexpr int kPesLastReadByte = 18;     // end of the DTS
constexpr int kPesBytesToRecognise = 7;  // start code to the '10' marker
constexpr uint64_t kPtsFactor = 11;      // about 1% short of 100/9, and no division
constexpr uint64_t kTicksPerMillisecond = 90;

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

// One of the two clocks of a stream.
struct StreamClock {
    const char* name;  // in messages
    const char* tag;   // in pacing messages
    uint64_t& now_us;
    uint64_t& last_us;
    RateEmu& rate;
};

void log_step_back(const StreamClock& clock, uint16_t pid) {
    if (!DBG_PES_PTSDTS) return;
    LOG(zv::kLogWarning, "MPEGTS", "[%#x]%s:%s us,上次是:%s us,非线性%s", pid, clock.name,
        NumberText(clock.now_us).text, NumberText(clock.last_us).text, clock.name);
}

void log_step(const StreamClock& clock, uint16_t pid) {
    if (!DBG_PES_PTSDTS) return;
    LOG(zv::kLogDebug, "MPEGTS", "[%#x]%s:%s us,上次是:%s us,时差%s us", pid, clock.name,
        NumberText(clock.now_us).text, NumberText(clock.last_us).text,
        NumberText(clock.now_us - clock.last_us).text);
}

// Compares a valid time stamp with the one before and paces on it. The first is only remembered;
// one that goes back never paces and is the next reference.
void follow(MPEGTSContext& ctx, const StreamClock& clock, uint16_t pid, bool pace) {
    if (clock.last_us != 0) {
        if (clock.now_us < clock.last_us) {
            log_step_back(clock, pid);
        } else {
            log_step(clock, pid);
            if (pace)
                mpegts_api_rateEmuLong(ctx.name, clock.tag, &clock.rate,
                                       static_cast<int64_t>(clock.now_us), 1);
        }
    }
    clock.last_us = clock.now_us;
}

void read_pts(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* header, uint8_t pace) {
    PesTiming& timing = es.timing;
    if (!pes_has_pts(header) || !pes_validate_pts(header)) {
        LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]PTS:无效", es.pid);
        timing.pts_us = 0;
        return;
    }
    timing.pts_us = pes_get_pts(header) * kPtsFactor;
    timing.ptsSeen = 1;
    follow(ctx, {"PTS", "pts", timing.pts_us, timing.lastPts_us, ctx.rate_pts}, es.pid, pace != 0);
}

void read_dts(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* header, uint8_t pace) {
    PesTiming& timing = es.timing;
    if (!pes_has_dts(header) || !pes_validate_dts(header)) {
        LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]DTS:无效", es.pid);
        timing.dts_us = 0;
        return;
    }
    timing.dts_us = pes_get_dts(header) / kTicksPerMillisecond * 1000;
    // Only a stream that never carried a PTS paces on its DTS.
    follow(ctx, {"DTS", "dts", timing.dts_us, timing.lastDts_us, ctx.rate_dts}, es.pid,
           pace != 0 && timing.ptsSeen == 0);
}

void report_previous(const MPEGTSStream& es) {
    const unsigned received = es.timing.pes_data_recvd;
    if (received == 0) return;
    // An exact multiple counts one packet more, a remainder none: established figures.
    const unsigned packets = received / zv::kTsBodySize + (received % zv::kTsBodySize == 0);
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]总接收长度:%u,大约%u个TS包", es.pid, received,
           packets);
}

void count_payload(MPEGTSStream& es, int bytes) {
    es.timing.pes_data_recvd = static_cast<uint16_t>(es.timing.pes_data_recvd + bytes);
}

// pesDataLen is six bytes less than the payload that PES_packet_length announces, and meant so.
void count_start(MPEGTSStream& es, const uint8_t* header, int bytes_here) {
    const auto header_len = static_cast<int>(pes_get_headerlength(header));
    const int total = header_len + zv::kPesFixedHeaderSize;
    const auto packet_len = static_cast<int>(pes_get_length(header));
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]头长度:%u，头总长度为:%u", es.pid,
           static_cast<unsigned>(header_len), static_cast<unsigned>(total));
    count_payload(es, bytes_here - total);
    if (packet_len == 0) {
        es.timing.pesDataLen = 0;
        LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]数据长度:无界长度,pes_data_recvd:%u", es.pid,
               es.timing.pes_data_recvd);
        return;
    }
    es.timing.pesDataLen = static_cast<uint16_t>(packet_len - total);
    LOG_IF(DBG_PES, zv::kLogDebug, "MPEGTS", "[%#x]数据长度:%u,pes_data_recvd:%u", es.pid,
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
    count_start(es, header, bytes_here);
}

// A header is recognised by its first seven bytes, so none can be found closer to the packet's end.
int find_header(const uint8_t* payload) {
    return pes_find(payload, zv::kTsBodySize - kPesBytesToRecognise + 1);
}

}  // namespace

void mpegts_innerapi_filterPes(MPEGTSContext* ctx, MPEGTSStream* es, const uint8_t* payload,
                               uint8_t pace) {
    if (ctx->ts_head.payload_unit_start_indicator != 1) {
        count_payload(*es, zv::kTsBodySize);
        return;
    }
    const int offset = find_header(payload);
    if (offset < 0) {
        count_payload(*es, zv::kTsBodySize);
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
