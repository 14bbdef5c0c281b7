/* SPDX-License-Identifier: MIT
 * MPEG-2 transport streams (ISO/IEC 13818-1, service names by ETSI EN 300 468): what the "mpegts"
 * resolver reports, pacing by a stream clock, remapping, and builders for single-packet tables. */
#ifndef ZV_MPEGTS_H
#define ZV_MPEGTS_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* Option word of the resolver's parse operation. */
#define ZV_TS_PACE_PCR 0x01u   /* sleep to the first programme's PCR */
#define ZV_TS_PACE_PES 0x02u   /* sleep to the time stamps of the first video (else first) stream */
#define ZV_TS_CHECK_CC 0x04u   /* check continuity counters */
#define ZV_TS_STOP_KNOWN 0x08u /* look no further once all tables are known */
#define ZV_TS_PES_TIMING 0x10u /* follow PTS and DTS of every elementary stream */
#define ZV_TS_REMAP 0x20u      /* rewrite identifiers; set by mpegts_api_remap only */

/* Capacities: what lies beyond is not stored. */
#define ZV_TS_MAX_PROGRAMS 30
#define ZV_TS_MAX_STREAMS 4 /* elementary streams of one programme */

/* What an elementary stream carries: `kind` of MPEGTSStream and StreamInfoEs. */
#define ZV_TS_KIND_OTHER 0
#define ZV_TS_KIND_VIDEO 1
#define ZV_TS_KIND_AUDIO 2

/* Room that mpegts_api_getStreamInfo needs at most, the terminator included. */
#define ZV_TS_STREAM_INFO_MAX 16384

/* Continuity state of one PID; all zero before its first packet. */
typedef struct CCState {
    uint8_t started;  /* 1 once a packet was checked */
    uint8_t last_cc;  /* counter of the last packet checked */
    uint8_t alt_cc;   /* counter of the last packet with a PCR, accepted as predecessor too */
    uint32_t errnum;  /* discontinuities */
    uint32_t lostnum; /* packets presumed lost; a wrap counts one fewer than modulo 16 would */
} CCState;

/* Arrival clock of a table or a PCR, microseconds of zvtime_api_upUs; period stays 0 until the
 * second stamped arrival. */
typedef struct Period {
    uint64_t last;   /* latest arrival */
    uint64_t now;    /* the same, 0 before the first */
    uint64_t period; /* between the last two arrivals */
} Period;

/* Anchor of one stream clock for pacing; start it all zero. */
typedef struct RateEmu {
    int64_t lastStream_us; /* stream time of the anchor */
    int64_t lastSys_us;    /* system time at which the anchor was taken */
    uint8_t numOutOfRange; /* consecutive steps with two seconds of drift or more */
} RateEmu;

/* PTS and DTS of one elementary stream. */
typedef struct PesTiming {
    uint64_t pts_us;         /* latest header: PTS in 90 kHz ticks x 11; 0 when it had none */
    uint64_t dts_us;         /* latest header: DTS / 90 x 1000; 0 when it had none */
    int8_t ptsSeen;          /* 1 once any header had a valid PTS */
    uint64_t lastPts_us;     /* latest valid PTS; 0 before the first */
    uint64_t lastDts_us;     /* latest valid DTS; 0 before the first */
    uint16_t pesDataLen;     /* PES_packet_length less (9 + PES_header_data_length); 0 unbounded */
    uint16_t pes_data_recvd; /* payload bytes of the current PES packet, modulo 65536 */
} PesTiming;

/* One elementary stream of a programme. For mpegts_api_buildPmtEs only pid, stream_type,
 * es_info_len and es_info matter. */
typedef struct MPEGTSStream {
    uint64_t reserved;      /* 0 */
    uint16_t pid;           /* 0x10..0x1FFE */
    uint8_t stream_type;    /* of the PMT */
    uint16_t es_info_len;   /* 0..128 */
    uint8_t es_info[128];   /* descriptors */
    uint32_t kind;          /* ZV_TS_KIND_* */
    char type_name[64];     /* "h264", "aac", ... */
    CCState cc_state;       /* of the stream's packets */
    int32_t numPcr_noInPmt; /* packets with a PCR although no PMT names this PID as PCR_PID */
    PesTiming timing;       /* of the stream's PES headers */
} MPEGTSStream;

/* The resolver's context. A host gets one from ffurl_mpegts_parser.init and passes it on. */
typedef struct MPEGTSContext MPEGTSContext;

/* One elementary stream as updateInfo reports it. The library fills everything up to and including
 * numPcr_noInPmt; the media details after it are the host's to fill and are printed when present.
 */
typedef struct StreamInfoEs {
    uint16_t pid;           /* 0x10..0x1FFE */
    uint8_t stream_type;    /* of the PMT */
    uint16_t es_info_len;   /* 0..128 */
    uint8_t es_info[128];   /* descriptors */
    int32_t kind;           /* ZV_TS_KIND_* */
    char type_name[64];     /* not terminated when all 64 bytes are used */
    CCState cc_state;       /* of the stream's packets */
    int32_t numPcr_noInPmt; /* packets with a PCR although no PMT names this PID as PCR_PID */
    int32_t sample_rate;    /* Hz */
    int64_t bit_rate;       /* bit/s */
    char audio_desc[2][64]; /* anything else about an audio stream */
    float frame_rate;       /* frames per second, printed only when picture is not empty */
    char picture[64];       /* such as "720x576" */
    char video_desc[3][64]; /* anything else about a video stream */
} StreamInfoEs;

/* One programme as updateInfo reports it. */
typedef struct StreamInfoProgram {
    uint16_t pmt_pid;        /* of the PAT */
    uint16_t program_number; /* of PAT and PMT */
    uint16_t pcr_pid;        /* of the PMT */
    uint8_t has_service;     /* 1 once the SDT described a service with this programme's number */
    char service_type[256];  /* "digital_tv", ...; this and the next two: empty without a service */
    char service_provider[256];              /* bytes of the SDT, as the name */
    char service_name[256];                  /* undecoded (ETSI EN 300 468 annex A) */
    int8_t es_count;                         /* streams filled */
    StreamInfoEs streams[ZV_TS_MAX_STREAMS]; /* in the order of the PMT */
    int64_t pcr_period;                      /* microseconds between PCR arrivals, 0 unknown */
    int64_t pmt_period;                      /* microseconds between PMT arrivals, 0 unknown */
    uint8_t pmt_packet[204];                 /* the first accepted PMT packet */
    uint8_t pmt_packet_len;                  /* bytes of it */
} StreamInfoProgram;

/* The caller-owned result of updateInfo; zero it before the first update. */
typedef struct StreamInfo {
    uint32_t pkt_size;                              /* 188, 192 or 204; 0 unknown */
    char format[128];                               /* "mpegts" once filled */
    char progress[128];                             /* "Found 1/3 PMT", then "Finished!" */
    int32_t program_count;                          /* programmes filled */
    StreamInfoProgram programs[ZV_TS_MAX_PROGRAMS]; /* in the order of the PAT */
    int32_t report_program_count;                   /* 0: the report takes program_count */
    int64_t pat_period;  /* microseconds between PAT arrivals, 0 unknown */
    int64_t sdt_period;  /* microseconds between SDT arrivals, 0 unknown */
    uint8_t packet[204]; /* the stream's first PAT packet */
    uint8_t packet_len;  /* bytes of it */
} StreamInfo;

/* New identifiers for mpegts_api_remap. A PID outside 0x10..0x1FFE leaves its packets alone, except
 * pmt_pid, which is written whenever program_number is not 0. */
typedef struct RemapTarget {
    uint16_t program_number; /* written into the PMT when this or pmt_pid asks for a change */
    uint16_t pmt_pid;        /* of the PMT packet */
    uint16_t pcr_pid;        /* of packets with a PCR */
    uint16_t pid_es[ZV_TS_MAX_STREAMS]; /* of the streams, in the order of the PMT */
} RemapTarget;

/* Appends one line that describes the stream.
 * info        in/out  filled by updateInfo; report_program_count is set when 0
 * out         in/out  NUL-terminated text; room for ZV_TS_STREAM_INFO_MAX bytes more is always
 *                     enough
 * withFormat  in      non-zero: begin with "format[...],pktSize[...]"
 * -> 1 appended, 0 no programme known or a null argument (out untouched)
 * Programmes are described in detail only when the stream holds exactly one.
 * Any thread, one at a time per record. */
ZV_API int mpegts_api_getStreamInfo(StreamInfo* info, char* out, int withFormat);

/* Paces the caller by a stream clock: sleeps until as much system time as stream time has passed
 * since the anchor, less 100 us. The first call, a stream or system time at or before the anchor,
 * and the call after two drifts of two seconds or more in a row set the anchor anew instead.
 * name, tag      in      texts for the messages, e.g. the source (256 characters of it are printed)
 *                        and "pcr"; null reads as ""
 * rate           in/out  the clock's anchor
 * streamTime_us  in      stream time, microseconds; 0 or less never becomes an anchor
 * verbose        in      non-zero: a late stream is reported
 * -> the system time at entry, microseconds, when a pacing step was made; -1 otherwise
 * Sleeps the calling thread for up to two seconds. One thread at a time per record. */
ZV_API int64_t mpegts_api_rateEmuLong(const char* name, const char* tag, RateEmu* rate,
                                      int64_t streamTime_us, uint8_t verbose);

/* Tells whether a pacing step can be made.
 * rate           in  the clock's anchor
 * streamTime_us  in  stream time, microseconds
 * now_us         in  system time, microseconds of zvtime_api_upUs
 * -> 1 when the anchor is set, lies before both times, and fewer than two steps in a row were out
 *    of range; 0 otherwise or for a null record
 * Any thread. */
ZV_API int mpegts_innerapi_isRateEmuVaild(const RateEmu* rate, int64_t streamTime_us,
                                          int64_t now_us);

/* One pacing step against a valid anchor, with arguments as for mpegts_api_rateEmuLong.
 * name, tag, rate, streamTime_us, verbose  in  as there
 * now_us                                   in  system time, microseconds of zvtime_api_upUs
 * -> 1 paced; 0 the drift was two seconds or more (counted, reported, no sleep) or rate is null
 * Sleeps like it. One thread at a time per record. */
ZV_API int mpegts_innerapi_rateEmuDone(const char* name, const char* tag, RateEmu* rate,
                                       int64_t streamTime_us, int64_t now_us, uint8_t verbose);

/* Rewrites a buffer of whole packets in place so that its single programme carries new identifiers.
 * PAT and SDT packets are taken out, but the packet that moves into a removed one's place is not
 * examined: feed one packet at a time to let nothing slip through. The first accepted PMT gets the
 * new PID, programme number and CRC; later PMT packets pass as they are, and the PIDs listed in the
 * PMT are not rewritten. The new PID's high five bits are ORed onto the old ones.
 * target   in      new identifiers
 * context  in/out  a context of its own; it learns the tables from the stream
 * buffer   in/out  `length` bytes, shortened by the packets taken out
 * length   in      bytes
 * -> the new length's low 8 bits as a signed number: a buffer of whole packets never gives -1,
 *    which stands for a packet without sync byte (what came before it is rewritten) or a null
 *    argument
 * One thread at a time per context. */
ZV_API int8_t mpegts_api_remap(const RemapTarget* target, MPEGTSContext* context, uint8_t* buffer,
                               int length);

/* Builds one packet that holds a whole PAT: section with pointer_field 0, version 2, transport
 * stream 1 and CRC_32, continuity counter 0. So do the other builders with their tables.
 * buffer                    out  188 bytes are always written (0xFF where nothing else goes); a
 *                                table too long for the packet runs on after it: keep to the
 *                                limits below, or have room for 192 bytes more than the section's
 *                                real size. Null: nothing is done
 * buffer_size               in   above 188: that many bytes are cleared first. No capacity
 * adaptation_field_control  in   1: the section starts at byte 4.
 *                                3: it ends with the packet, after stuffing; its section_length
 *                                must be 179 or less (180..184 overwrites the header, beyond that
 *                                nothing is written).
 *                                Else: no section
 * count                     in   programmes, masked to 14 bits; up to 42 fit the packet
 * program_numbers, pmt_pids in   count of each; null: no programme
 * Any thread. */
ZV_API void mpegts_api_buildPat(uint8_t* buffer, uint8_t adaptation_field_control,
                                uint8_t buffer_size, uint16_t count,
                                const uint16_t* program_numbers, const uint16_t* pmt_pids);

/* Builds a PMT packet. The section length is summed in 8 bits: keep 5 bytes a stream plus
 * descriptors at 166 or less in all.
 * buffer, adaptation_field_control, buffer_size  in/out  as for mpegts_api_buildPat
 * program_number, pmt_pid, pcr_pid               in      of the programme
 * es_count                                       in      entries of streams
 * streams                                        in      pid, stream_type, es_info_len (its low
 *                                                        byte) and es_info are read
 * Any thread. */
ZV_API void mpegts_api_buildPmtEs(uint8_t* buffer, uint8_t adaptation_field_control,
                                  uint16_t program_number, uint16_t pmt_pid, uint16_t pcr_pid,
                                  int8_t es_count, const MPEGTSStream* streams,
                                  uint8_t buffer_size);

/* Builds an SDT packet with one service of type digital television.
 * buffer, adaptation_field_control, buffer_size  in/out  as for mpegts_api_buildPat
 * service_id                                     in      the programme's number
 * provider, service_name                         in      in the encoding of ETSI EN 300 468
 *                                                        annex A, together up to 157 bytes; null
 *                                                        reads as ""
 * Any thread. */
ZV_API void mpegts_api_buildSdt(uint8_t* buffer, uint8_t adaptation_field_control,
                                uint16_t service_id, const char* provider, const char* service_name,
                                uint8_t buffer_size);

/* Builds a null packet; its payload_unit_start_indicator is set like that of the tables.
 * buffer, buffer_size  in/out  as for mpegts_api_buildPat
 * Any thread. */
ZV_API void mpegts_api_buildNullPkt(uint8_t* buffer, uint8_t buffer_size);

/* Runs packets of a PAT through a fresh context, for their log lines.
 * buffer  in  whole packets
 * length  in  bytes of them
 * -> what the resolver's parse returns: -1 null argument or lost sync, else 0 or 1, whether or not
 *    the table was accepted
 * The context of about 76 KB lives on the stack. Any thread. */
ZV_API int mpegts_api_parsePat(const uint8_t* buffer, int length);

/* The same for packets of a PMT.
 * buffer   in  whole packets
 * pmt_pid  in  their PID
 * length   in  bytes of them
 * -> as mpegts_api_parsePat */
ZV_API int mpegts_api_parsePmt(const uint8_t* buffer, uint16_t pmt_pid, int length);

/* The same for packets of an SDT.
 * buffer  in  whole packets
 * length  in  bytes of them
 * -> as mpegts_api_parsePat */
ZV_API int mpegts_api_parseSdt(const uint8_t* buffer, int length);

/* Looks for a PID in a list of streams.
 * pid       in  looked for
 * es_count  in  entries of streams
 * streams   in  only their pid is read
 * -> 1 when one of the entries has that pid; otherwise es_count itself, so beside a non-empty list
 *    every PID reads as present
 * Any thread. */
ZV_API int mpegts_api_isEsPid(uint16_t pid, int8_t es_count, const MPEGTSStream* streams);

/* Builds every table in two layouts and parses it back, logging to tsApiTest.txt in
 * /var/log/tavrix. Opens and closes the log, and leaves the table debug switches on. For a small
 * test program.
 * log_level  in  4 shows every field */
ZV_API void mpegts_api_tsApiTest(int log_level);

ZV_END_DECLS

#endif
