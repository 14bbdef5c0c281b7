// SPDX-License-Identifier: MIT
// The analyser's memory: one flat record for each analysed stream, the name tables and debug switches
// of the module, and the functions over the record that several files call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bitStream.h"
#include "mpeg/ts_packet/ts_packet.h"
#include "mpegts.h"

namespace zv {

constexpr int kMaxPrograms = ZV_TS_MAX_PROGRAMS;
constexpr int kMaxStreams = ZV_TS_MAX_STREAMS;
constexpr int kPacketCopySize = 208;  // room for one 204-byte packet
constexpr int kNameSize = 256;
constexpr int kServiceTextSize = 256;
constexpr int kSdtBufferSize = 1024;

// MPEGTSStream::kind
constexpr uint32_t kKindOther = ZV_TS_KIND_OTHER;
constexpr uint32_t kKindVideo = ZV_TS_KIND_VIDEO;
constexpr uint32_t kKindAudio = ZV_TS_KIND_AUDIO;

// What the parse loop knows of a PID once all tables are known; see pid_dispatch.h.
struct PidDispatch {
    uint8_t is_derived;  // 0: must be derived from the tables before it is used
    uint16_t entry[kPidCount];
    uint16_t pcr_pid[kMaxPrograms];  // of each programme, beside one another; 0 where not valid
    MPEGTSStream
        ignored;  // takes the packets of no stream, so that they cost no branch of their own
};

}  // namespace zv

extern "C" {

// One programme of the PAT.
struct MPEGTSProgram {
    uint8_t pmt_parsed;  // 1 once a PMT with at least one stream entry was accepted
    uint16_t pcr_pid;
    int8_t es_count;
    MPEGTSStream streams[zv::kMaxStreams];
    CCState cc_state;
    uint16_t program_number;  // 0 matches any PMT on pmt_pid
    uint16_t pmt_pid;
    int64_t last_pcr;  // 27 MHz ticks; microseconds while this programme's PCR paces
    Period pcr_period;
    Period period;
    uint8_t pmt_packet[zv::kPacketCopySize];  // first accepted PMT packet; [0] is 0x47 once taken
};

struct MPEGTSService {
    uint16_t service_id;
    uint8_t service_type;
    char service_name[zv::kServiceTextSize];
    char provider_name[zv::kServiceTextSize];
};

// The service description table as gathered so far.
struct MPEGTSSdt {
    uint16_t section_length;
    uint16_t transport_stream_id;
    uint16_t original_network_id;
    uint16_t service_count;
    MPEGTSService services[zv::kMaxPrograms];
    uint8_t section_buffer[zv::kSdtBufferSize];
    uint16_t received;  // bytes gathered in section_buffer
};

struct MPEGTSContext {
    uint8_t pkt_size;  // 0 until the first parse detects it
    struct ts_head ts_head;
    uint16_t totalnum_program;
    uint16_t pid_nit;
    uint16_t pid_pmt[zv::kMaxPrograms];
    CCState cc_pat;
    MPEGTSProgram program[zv::kMaxPrograms];
    MPEGTSSdt sdt;
    CCState cc_sdt;
    char name[zv::kNameSize];  // not terminated when the given name has 256 characters or more
    uint8_t is_getAllInfo;     // 1 once every programme of the PAT has its PMT
    uint8_t has_pat;
    uint8_t is_update;
    uint8_t has_pmt;
    uint16_t num_pmtInfo;
    MPEGTSStream* btc_es;  // the stream that paces with option bit 0x02; points into program
    RateEmu rate_pcr;
    RateEmu rate_pts;
    RateEmu rate_dts;
    uint8_t pat_pkt[zv::kPacketCopySize];  // first accepted PAT packet; [0] is 0x47 once taken
    Period period_pat;
    Period period_sdt;

    // Derived from the members above, for speed.
    zv::PidDispatch dispatch;
};

// One a topic. The self test turns the table ones and DBG_PCR on; nothing else changes them.
extern uint8_t DBG_PAT;
extern uint8_t DBG_SDT;
extern uint8_t DBG_PMT;
extern uint8_t DBG_TSHEAD_MODE;  // print mode of every packet header
extern uint8_t DBG_PESHEAD;
extern uint8_t DBG_COMMON;
extern uint8_t DBG_PCR;
extern uint8_t DBG_CC;
extern uint8_t DBG_AV;
extern uint8_t DBG_PES;
extern uint8_t DBG_PES_PTSDTS;
extern uint8_t DBG_FIND_INFO;

// Names by PMT stream_type and by SDT service_type.
constexpr size_t kAvTypeCount = 236;
constexpr size_t kServiceTypeCount = 27;
extern const char* str_avtype[kAvTypeCount];
extern const char* str_servicetype[kServiceTypeCount];

// names.cpp

// Fills both tables where entry 0 is unset: at load, and again when init finds them so.
void mpegts_innerapi_fillNames(void);

// out: at least 21 bytes; the first 8 are cleared
void mpegts_innerapi_getAVTypeString(uint32_t streamType, char* out);
void mpegts_innerapi_getServiceTypeString(StreamInfoProgram* dst, const MPEGTSService* service,
                                          MPEGTSContext* context);

// lookup.cpp: plain scans in table order; the first match wins

// -> the programme whose valid pcr_pid is the current PID, else null
MPEGTSProgram* mpegts_innerapi_findPmt_byPCRPid(MPEGTSContext* ctx);
// -> the programme whose valid pmt_pid is the current PID and whose number is 0 or equal, else null
MPEGTSProgram* mpegts_innerapi_findPmt_byPid(MPEGTSContext* ctx, uint16_t program_number);
// -> 1 when the current PID is a valid PMT PID
int mpegts_innerapi_isPmt_byPid(MPEGTSContext* ctx);
// -> the stream of the current PID, else null; the indices go to the outputs that are not null
MPEGTSStream* mpegts_innerapi_findEs(MPEGTSContext* ctx, int* prog_idx_out, int* es_idx_out);
// -> the first video stream, else the first stream, else null
MPEGTSStream* mpegts_innerapi_getBtcEs(MPEGTSContext* ctx);
// -> 1 when every programme of the PAT has its PMT; counts them in num_pmtInfo
int mpegts_innerapi_isGetAllInfo(MPEGTSContext* ctx);

// clock.cpp: stamps an arrival with the present time
void mpegts_innerapi_getPeriod(Period* period);

// The resolver's operations: context.cpp, resolver.cpp, update_info.cpp
void mpegts_init(MPEGTSContext** slot, const char* name, void* reserved);
int mpegts_parse(MPEGTSContext* ctx, const uint8_t* buf, int len, uint32_t flags);
int mpegts_updateInfo(MPEGTSContext* ctx, StreamInfo* info);
void mpegts_deinit(MPEGTSContext** slot);

// report.cpp: a block of counters of every table and stream at level 3
void mpegts_innerapi_showStatistics(MPEGTSContext* ctx);

}  // extern "C"
