/* SPDX-License-Identifier: MIT
 * The survey: everything that is in a transport stream (ISO/IEC 13818-1, ETSI EN 300 468), and what
 * is wrong with it. Unlike the "mpegts" resolver it answers for any stream: every PID, sections of
 * any length, tables that change, any number of programmes and streams.
 *
 * A host makes a survey, feeds it bytes cut as it likes, and asks for JSON or for plain records at
 * any time. The result does not depend on the cuts. A survey uses less than 64 MiB whatever comes.
 *
 * Thread rule for every function here: one thread at a time for each survey. No function throws,
 * locks, starts a thread or keeps global state. The library needs the standard library only. */
#ifndef ZV_SURVEY_H
#define ZV_SURVEY_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* All that is known of one stream. */
typedef struct ZvSurvey ZvSurvey;

/* What stands for "not known" or "not measurable" in a record: of numbers that may be absent. Times
 * and rates are NaN then, texts null. */
#define ZV_SURVEY_NONE (-1)

/* Most entries of lists that damage could make endless. What lies beyond is counted. */
#define ZV_SURVEY_MAX_LISTED 1000   /* events, sync losses, CRC errors */
#define ZV_SURVEY_MAX_TABLES 16384  /* tables: PID, table_id and extension */
#define ZV_SURVEY_MAX_PROGRAMS 2048 /* programmes in force */

/* Most steps of a history. */
#define ZV_SURVEY_MAX_STEPS 600

/* Something that happened. Borrowed for the call. */
typedef struct ZvSurveyEvent {
    double time_s;         /* stream time, 0 at the first packet; NaN without a clock */
    uint64_t offset;       /* of the packet's sync byte, in bytes from the start of the input */
    int32_t pid;           /* 0..8191, or ZV_SURVEY_NONE */
    const char* kind;      /* "pmt_changed", or an indicator's name such as "CRC_error" */
    const char* indicator; /* ETSI TR 101 290: "1.4"; null when the event belongs to none */
    const char* message;   /* one line for people, printable ASCII */
} ZvSurveyEvent;

/* When indicators of ETSI TR 101 290 count: the longest gap that is no error, in seconds. 0 stands for
 * the default in parentheses. */
typedef struct ZvSurveyLimits {
    double pat_s;               /* 1.3.a: between sections of the PAT (0.5) */
    double pmt_s;               /* 1.5.a: between sections of a PMT (0.5) */
    double pid_s;               /* 1.6: between packets of a PID that must come; 1 at least (5) */
    double pcr_repetition_s;    /* 2.3.a: between PCRs of a PID (0.1) */
    double pcr_discontinuity_s; /* 2.3.b: from one PCR value to the next (0.1) */
    double pcr_accuracy_ns;     /* 2.4: off the line, nanoseconds (500) */
    double pts_s;               /* 2.5: between PTS (0.7) */
    double cat_s;               /* 2.6: from the first scrambled packet to the CAT (0.5) */
    double nit_actual_s;        /* 3.1.a (10) */
    double nit_other_s;         /* 3.1.b (10) */
    double bat_s;               /* 3.2 (10) */
    double tot_s;               /* 3.2 (30) */
    double unreferenced_s;      /* 3.4.a: how long a PID may come that no table names (0.5) */
    double sdt_actual_s;        /* 3.5.a (2) */
    double sdt_other_s;         /* 3.5.b (10) */
    double eit_actual_s;        /* 3.6.a (2) */
    double eit_other_s;         /* 3.6.b (10) */
    double eit_pf_s;            /* 3.6.c: from one of the sections 0 and 1 to the other (2) */
    double tdt_s;               /* 3.8 (30) */
    double section_distance_s;  /* 3.1.a, 3.5.a, 3.6.a, 3.7, 3.8: sections are at least so far
                                   apart (0.025) */
} ZvSurveyLimits;

/* A stretch of the stream over which time is linear: the packet at a place has the time
 * time_s + (place - offset) * s_per_byte. */
typedef struct ZvSurveyTimeLine {
    uint64_t offset;   /* a place on the line */
    double time_s;     /* its time, 0 at the first packet */
    double s_per_byte; /* how fast time goes */
    uint64_t end;      /* the line holds up to here, from the end of the line before on */
} ZvSurveyTimeLine;

/* How a survey works. Members that a host leaves 0 have their defaults. */
typedef struct ZvSurveyOptions {
    size_t size; /* sizeof(ZvSurveyOptions): later versions add members at the end */
    void* arg;   /* handed to the callbacks */

    /* Called for each event when it is found and its time is known, or known to stay unknown. It
     * must not call the survey. */
    void (*on_event)(void* arg, const ZvSurveyEvent* event);

    /* Called for each run of whole packets in sync once the survey has looked at them, so that
     * others work on the same packets. It may read the survey's records, but not feed it.
     * packets      in  from the first sync byte, count * packet_size bytes; borrowed for the call
     * packet_size  in  188, 192 or 204: from one sync byte to the next
     * count        in  packets in the run, at least 1
     * offset       in  of the first sync byte, in bytes from the start of the input */
    void (*on_packets)(void* arg, const uint8_t* packets, size_t packet_size, size_t count,
                       uint64_t offset);

    ZvSurveyLimits limits; /* when indicators count */

    /* Called when the time of what came is known, for those who send packets at their time; of files
     * only, and not before the first interval of the clock. It must not call the survey.
     * line  in  borrowed for the call; lines follow each other without a gap */
    void (*on_clock)(void* arg, const ZvSurveyTimeLine* line);

    /* Not 0: how the stream goes over its time is kept, for zvsurvey_history and as the member
     * "history" of the JSON. It takes up to 20 MiB, of an ordinary stream less than 2; the bound of
     * 64 MiB in all holds. */
    int32_t history;

    /* Most rows of each list of the history, where that is fewer than is said of the list below, so
     * that it takes 40 KiB for each of them at most, and 200 more; 0: as many as is said there. */
    uint32_t history_rows;

    /* Seconds: the history keeps this much of the latest time at least, in steps that stop growing
     * once 540 of them are as long, and forgets what is older; 0: it keeps all of it. For streams
     * that are watched for months. */
    uint32_t history_span_s;

    uint32_t reserved; /* 0. Without it the record would end in padding, which hosts leave unset. */
} ZvSurveyOptions;

/* Takes a piece of JSON. -> 0 to go on, anything else to stop */
typedef int (*ZvSurveyWrite)(void* arg, const char* text, size_t size);

/* Begins a survey.
 * options  in  copied; null for the defaults
 * -> the survey, to be freed by zvsurvey_free; null when memory is short */
ZV_API ZvSurvey* zvsurvey_new(const ZvSurveyOptions* options);

/* Takes the next bytes of the stream, cut anywhere. Time is the stream's own.
 * survey  in  takes the bytes
 * bytes   in  borrowed for the call; may be null when size is 0
 * size    in  any number of bytes
 * -> 0, also after bytes that are no transport stream; -1 when memory is short or an argument is
 *    null: the survey then still answers for what came before, but takes nothing more */
ZV_API int zvsurvey_feed(ZvSurvey* survey, const void* bytes, size_t size);

/* The same for a live stream: time is that of arrival. The first call decides between the two.
 * survey      in  not null
 * bytes       in  borrowed for the call; may be null when size is 0
 * size        in  any number of bytes
 * arrival_us  in  when the bytes came, microseconds of a monotonic clock; not less than before
 * -> as zvsurvey_feed; also -1 after a call of zvsurvey_feed with bytes, and the other way round */
ZV_API int zvsurvey_feed_at(ZvSurvey* survey, const void* bytes, size_t size, uint64_t arrival_us);

/* Live: time passes although nothing comes, and gaps are raised when they pass their limit. Nothing
 * happens before the first zvsurvey_feed_at.
 * survey  in  null is ignored
 * now_us  in  as arrival_us */
ZV_API void zvsurvey_tick(ZvSurvey* survey, uint64_t now_us);

/* Ends the stream: what waited for more bytes is settled. Feeding after it is refused (-1).
 * survey  in  null is ignored */
ZV_API void zvsurvey_finish(ZvSurvey* survey);

/* Writes what is known as one JSON object, without a line end: the member "mpegts" of
 * `zvprobe --json`, less "resolver". docs/JSON.md describes it. May be called at any time.
 * survey  in  any
 * write   in  takes the pieces, in order
 * arg     in  handed to write
 * -> 0; -1 when memory is short or an argument is null; otherwise what `write` returned to stop */
ZV_API int zvsurvey_json(const ZvSurvey* survey, ZvSurveyWrite write, void* arg);

/* Frees a survey.
 * survey  in  null is ignored */
ZV_API void zvsurvey_free(ZvSurvey* survey);

/* Records. Pointers in them are the survey's; they hold until the next call for the same survey,
 * other than a record function of another kind. */

/* What is known of the stream as a whole. */
typedef struct ZvSurveyTotals {
    uint32_t packet_size;        /* 188, 192 or 204; 0 while no packet was found */
    uint64_t bytes;              /* taken so far */
    uint64_t packets;            /* whole packets with a sync byte, null packets included */
    uint64_t trailing_bytes;     /* after the last packet, too few for one */
    uint64_t null_packets;       /* of PID 0x1FFF */
    uint64_t transport_errors;   /* packets with transport_error_indicator */
    uint64_t first_sync_offset;  /* of the first packet */
    uint64_t skipped_bytes;      /* out of sync */
    uint64_t byte_errors;        /* places without a sync byte */
    uint64_t sync_losses;        /* two such places in a row */
    uint64_t crc_errors;         /* sections with a wrong CRC_32 */
    uint64_t continuity_errors;  /* of all PIDs */
    uint64_t packets_lost;       /* as far as continuity counters tell */
    int32_t transport_stream_id; /* of the PAT, or ZV_SURVEY_NONE */
    int32_t network_id;          /* of the NIT of the actual network, or ZV_SURVEY_NONE */
    const char* network_name;    /* UTF-8 */
    const char* utc_first;       /* of TDT and TOT, such as "2026-11-21T12:00:00Z" */
    const char* utc_last;        /* the same */
    size_t programs;             /* entries of zvsurvey_program */
    size_t services;             /* entries of zvsurvey_service */
    size_t pids;                 /* entries of zvsurvey_pid */
    size_t tables;               /* entries of zvsurvey_table */
    uint64_t events;             /* found so far, listed or not */
    const char* clock_source;    /* "pcr", "arrival" or "none" */
    int32_t clock_pcr_pid;       /* whose PCRs tell the time, or ZV_SURVEY_NONE */
    int32_t constant_rate;       /* 1 yes, 0 no, ZV_SURVEY_NONE unknown */
    double duration_s;           /* NaN: not known */
    double bit_rate_bps;         /* NaN: not known */
    size_t indicators;           /* entries of zvsurvey_indicator */
    uint64_t unjudged;           /* what came before there was a clock and was too much to wait */
} ZvSurveyTotals;

/* A programme of the PAT, in its order. */
typedef struct ZvSurveyProgram {
    uint16_t program_number;       /* not 0 */
    uint16_t pmt_pid;              /* that the PAT names */
    int32_t pmt_version;           /* ZV_SURVEY_NONE: no PMT yet */
    int32_t pcr_pid;               /* ZV_SURVEY_NONE: no PMT yet, or the PMT names none */
    const char* service_name;      /* UTF-8; null: not described */
    const char* service_provider;  /* UTF-8; null: not described */
    int32_t service_type;          /* EN 300 468, service_descriptor, or ZV_SURVEY_NONE */
    const char* service_type_name; /* null: not described */
    const uint8_t* descriptors;    /* the PMT's, outside its streams */
    size_t descriptors_size;       /* bytes of descriptors */
    const uint16_t* ca_system_ids; /* ascending */
    size_t ca_system_id_count;     /* entries of ca_system_ids */
    uint8_t scrambled;             /* 1: a packet of one of its streams was */
    size_t streams;                /* entries of zvsurvey_stream */
    double bit_rate_bps;           /* of its PMT, PCR and stream PIDs; NaN without a clock */
    const char* now_title;         /* of the present event, UTF-8; null: none is known */
    const char* now_start;         /* such as "2026-11-21T12:00:00Z"; null: not known */
    int64_t now_duration_s;        /* ZV_SURVEY_NONE: not known */
    const char* next_title;        /* of the following event, as above */
    const char* next_start;        /* the same */
    int64_t next_duration_s;       /* the same */
} ZvSurveyProgram;

/* An elementary stream of a programme, in the order of the PMT. */
typedef struct ZvSurveyStream {
    uint16_t pid;                /* elementary_PID */
    uint8_t stream_type;         /* of the PMT */
    const char* codec;           /* "h264", "eac3", ...; null: unknown */
    const char* kind;            /* "video", "audio", "subtitle" or "data" */
    const char* languages;       /* ISO 639 codes, such as "deu" or "eng,fra"; "" without any */
    const uint8_t* descriptors;  /* the stream's in the PMT */
    size_t descriptors_size;     /* bytes of descriptors */
    uint32_t width;              /* of the picture; 0: not known, as in what follows */
    uint32_t height;             /* of the whole frame, also where fields are coded */
    double frame_rate;           /* frames per second, also of interlaced video */
    const char* profile;         /* "High", "Main 10", "LC"; null: not known */
    const char* level;           /* "4.0"; null: not known */
    int32_t interlaced;          /* 1 yes, 0 no, ZV_SURVEY_NONE unknown */
    uint32_t bit_depth;          /* of luma */
    const char* chroma;          /* "4:2:0"; null: not known */
    uint32_t sample_rate;        /* Hz */
    uint32_t channels;           /* of sound */
    uint32_t audio_bit_rate_bps; /* as the stream's headers say */
} ZvSurveyStream;

/* A service that an SDT or a virtual channel table describes, ascending by id. */
typedef struct ZvSurveyService {
    uint16_t service_id;   /* the program_number */
    const char* name;      /* UTF-8, perhaps "" */
    const char* provider;  /* UTF-8; null in a virtual channel table */
    uint8_t type;          /* service_type */
    const char* type_name; /* what type stands for */
} ZvSurveyService;

/* A PID that was seen, ascending. */
typedef struct ZvSurveyPid {
    uint16_t pid;                  /* 0..8191 */
    const char* use;               /* "pat", "video", "unreferenced", ... */
    int32_t stream_type;           /* of the last PMT that lists it, or ZV_SURVEY_NONE */
    const char* codec;             /* null: unknown, or no elementary stream */
    uint64_t packets;              /* without those that have transport_error_indicator */
    uint64_t scrambled_packets;    /* transport_scrambling_control is not 0 */
    uint64_t transport_errors;     /* packets with transport_error_indicator */
    uint64_t unit_starts;          /* packets with payload and payload_unit_start_indicator */
    uint64_t random_access_points; /* packets with random_access_indicator */
    uint64_t crc_errors;           /* sections with a wrong CRC_32 */
    uint64_t continuity_errors;    /* packets out of order */
    uint64_t packets_lost;         /* as far as the counters tell */
    uint64_t duplicates;           /* packets sent twice */
    uint64_t signalled;            /* packets with discontinuity_indicator */
    double bit_rate_bps;           /* this and what follows: NaN where it was not measured */
    double first_s;                /* when the first packet came */
    double last_s;                 /* when the last one came */
    uint64_t pcrs;                 /* PCRs, first one included */
    double pcr_interval_min_s;     /* of consecutive values */
    double pcr_interval_mean_s;    /* the same */
    double pcr_interval_max_s;     /* the same */
    uint64_t pcr_jumps;            /* back, or on by more than a second, without a signal */
    uint64_t pcr_signalled;        /* steps to a PCR with discontinuity_indicator */
    double pcr_accuracy_min_ns;    /* off a straight line; at constant rate only */
    double pcr_accuracy_max_ns;    /* the same */
    double pcr_drift_ppm;          /* against the clock; at constant rate only */
    uint64_t pts;                  /* PES headers with a PTS */
    uint64_t dts;                  /* and with a DTS */
    double pts_first_s;            /* the value of the first */
    double pts_last_s;             /* the value of the last */
    double pts_interval_min_s;     /* between packets that carry one */
    double pts_interval_mean_s;    /* the same */
    double pts_interval_max_s;     /* the same */
    double pts_ahead_min_s;        /* PTS, or DTS, less the PCR at that packet */
    double pts_ahead_max_s;        /* the same */
} ZvSurveyPid;

/* A table, ascending by PID, table_id and extension. */
typedef struct ZvSurveyTable {
    uint16_t pid;                /* that carries it */
    uint8_t table_id;            /* of its sections */
    const char* name;            /* "PAT", "EIT present/following", ...; null: private */
    int32_t extension;           /* table_id_extension; ZV_SURVEY_NONE in short sections */
    int32_t version;             /* of the latest section; ZV_SURVEY_NONE in short sections */
    int32_t last_section_number; /* the same */
    uint64_t sections;           /* without wrong CRCs */
    double interval_min_s;       /* between sections of number 0; NaN: not measured */
    double interval_mean_s;      /* the same */
    double interval_max_s;       /* the same */
} ZvSurveyTable;

/* An indicator of ETSI TR 101 290, in the order of the standard. */
typedef struct ZvSurveyIndicator {
    const char* id;   /* "1.3.a" */
    const char* name; /* "PAT_error_2" */
    int32_t priority; /* 1 to 3 */
    uint8_t measured; /* 0: the input does not allow it, and count means nothing */
    uint64_t count;   /* how often it was in error */
    double first_s;   /* when first; NaN: never, or no clock */
    double last_s;    /* when last; the same */
} ZvSurveyIndicator;

/* A section with a wrong CRC_32; the first ZV_SURVEY_MAX_LISTED. */
typedef struct ZvSurveyCrcError {
    uint64_t offset;  /* of the packet in which the section begins */
    uint16_t pid;     /* that carries the section */
    uint8_t table_id; /* of the section */
} ZvSurveyCrcError;

/* A loss of sync; the first ZV_SURVEY_MAX_LISTED. */
typedef struct ZvSurveySyncLoss {
    uint64_t offset;        /* where the sync byte was missing */
    uint64_t skipped_bytes; /* up to the next packet */
} ZvSurveySyncLoss;

/* How the stream went over its time, in equal steps from its first packet on. The steps are 0.1 s
 * long; whenever there would be more than ZV_SURVEY_MAX_STEPS, two become one. With
 * ZvSurveyOptions.history_span_s they double only until 9/10 of them cover that span; from then on
 * the oldest tenth is dropped instead, or more after a gap, and what is measured late for a dropped
 * step is not kept. Packets are counted at the clock's first PCR after a step and spread evenly over
 * the time since the count before; live each is counted in the step in which it arrived. What is
 * measured stands in the step in which it is known: intervals where they end. Before zvsurvey_finish
 * the packets of the latest step or two may be missing. */
typedef struct ZvSurveyHistory {
    double start_s;                /* when the first step begins; 0, the first packet, until steps
                                      are dropped */
    double step_s;                 /* how long each step is: 0.1, 0.2, 0.4, ... */
    size_t steps;                  /* 0: no clock yet, and every list is empty */
    size_t packet_rows;            /* entries of zvsurvey_history_packets */
    size_t pcr_rows;               /* entries of zvsurvey_history_pcr */
    size_t pts_rows;               /* entries of zvsurvey_history_pts */
    size_t table_rows;             /* entries of zvsurvey_history_table */
    size_t event_rows;             /* entries of zvsurvey_history_events */
    const uint64_t* other_packets; /* by step: of the PIDs without a row, together; null: none */
    uint64_t pcr_left_out;         /* PCRs measured for which there was no row */
    uint64_t pts_left_out;         /* time stamps, the same */
    uint64_t tables_left_out;      /* intervals of tables, the same */
} ZvSurveyHistory;

/* Packets of a PID: those whose first packets came first have a row, 1024 of them, and keep it. */
typedef struct ZvSurveyHistoryPackets {
    uint16_t pid;            /* 0..8191 */
    const uint64_t* packets; /* by step; once the survey is finished their sum is the PID's packets,
                                less those that came before start_s */
} ZvSurveyHistoryPackets;

/* PCRs of a PID; 256 PIDs at most. Here and in the next two lists a row without a value in any step
 * is removed when steps are dropped, and another may have its place. */
typedef struct ZvSurveyHistoryPcr {
    uint16_t pid;                 /* 0..8191 */
    const double* interval_min_s; /* by step: from one value to the next; NaN: none in the step */
    const double* interval_max_s; /* the same */
    const double*
        accuracy_min_ns; /* by step, NaN the same: off a straight line; null: not measured */
    const double* accuracy_max_ns; /* the same */
} ZvSurveyHistoryPcr;

/* Time stamps of a PID; 512 PIDs at most. */
typedef struct ZvSurveyHistoryPts {
    uint16_t pid;              /* 0..8191 */
    const double* ahead_min_s; /* by step: PTS, or DTS, less the PCR; NaN: none in the step */
    const double* ahead_max_s; /* the same */
} ZvSurveyHistoryPts;

/* Tables of a PID with one table_id, whatever their extensions; 512 at most. */
typedef struct ZvSurveyHistoryTable {
    uint16_t pid;                 /* 0..8191 */
    uint8_t table_id;             /* of the sections */
    const double* interval_max_s; /* by step: the longest that ended there; NaN: none */
} ZvSurveyHistoryTable;

/* Counts of an indicator that is measured and counted something in a step, be it one that was dropped
 * since. */
typedef struct ZvSurveyHistoryEvents {
    const char* id;         /* "1.3.a" */
    const uint64_t* counts; /* by step */
} ZvSurveyHistoryEvents;

/* Gives the totals, at any time.
 * survey  in   any
 * out     out  as many of its members as size covers
 * size    in   sizeof *out at the caller
 * -> 1 filled; 0 memory is short or an argument is null: *out is untouched */
ZV_API int zvsurvey_totals(const ZvSurvey* survey, ZvSurveyTotals* out, size_t size);

/* Gives one entry of a list, at any time.
 * survey  in   any
 * index   in   from 0; the first one for which there is no entry ends the list
 * out     out  as many of its members as size covers
 * size    in   sizeof *out at the caller
 * -> 1 filled; 0 no such entry, memory is short or an argument is null: *out is untouched */
ZV_API int zvsurvey_program(const ZvSurvey* survey, size_t index, ZvSurveyProgram* out,
                            size_t size);
ZV_API int zvsurvey_service(const ZvSurvey* survey, size_t index, ZvSurveyService* out,
                            size_t size);
ZV_API int zvsurvey_pid(const ZvSurvey* survey, size_t index, ZvSurveyPid* out, size_t size);
ZV_API int zvsurvey_table(const ZvSurvey* survey, size_t index, ZvSurveyTable* out, size_t size);
ZV_API int zvsurvey_indicator(const ZvSurvey* survey, size_t index, ZvSurveyIndicator* out,
                              size_t size);
ZV_API int zvsurvey_crc_error(const ZvSurvey* survey, size_t index, ZvSurveyCrcError* out,
                              size_t size);
ZV_API int zvsurvey_sync_loss(const ZvSurvey* survey, size_t index, ZvSurveySyncLoss* out,
                              size_t size);
ZV_API int zvsurvey_event(const ZvSurvey* survey, size_t index, ZvSurveyEvent* out, size_t size);

/* The same for a stream of a programme.
 * survey   in   any
 * program  in   the index that zvsurvey_program takes
 * index    in   of the stream, from 0
 * out      out  as many of its members as size covers
 * size     in   sizeof *out at the caller
 * -> 1 filled; 0 no such entry, memory is short or an argument is null: *out is untouched */
ZV_API int zvsurvey_stream(const ZvSurvey* survey, size_t program, size_t index,
                           ZvSurveyStream* out, size_t size);

/* The same for a PID by its number.
 * survey  in   any
 * pid     in   0..8191
 * out     out  as many of its members as size covers
 * size    in   sizeof *out at the caller
 * -> 1 filled; 0 not seen, memory is short or an argument is null: *out is untouched */
ZV_API int zvsurvey_pid_by_number(const ZvSurvey* survey, uint16_t pid, ZvSurveyPid* out,
                                  size_t size);

/* Gives the history, at any time.
 * survey  in   any
 * out     out  as many of its members as size covers
 * size    in   sizeof *out at the caller
 * -> 1 filled; 0 none is kept (ZvSurveyOptions.history), memory is short or an argument is null:
 *    *out is untouched */
ZV_API int zvsurvey_history(const ZvSurvey* survey, ZvSurveyHistory* out, size_t size);

/* Gives one row of the history, at any time; rows ascend by PID and table_id, and by indicator. Its
 * arrays have as many entries as the history has steps.
 * survey  in   any
 * index   in   from 0; the first one for which there is no row ends the list
 * out     out  as many of its members as size covers
 * size    in   sizeof *out at the caller
 * -> 1 filled; 0 no such row, memory is short or an argument is null: *out is untouched */
ZV_API int zvsurvey_history_packets(const ZvSurvey* survey, size_t index,
                                    ZvSurveyHistoryPackets* out, size_t size);
ZV_API int zvsurvey_history_pcr(const ZvSurvey* survey, size_t index, ZvSurveyHistoryPcr* out,
                                size_t size);
ZV_API int zvsurvey_history_pts(const ZvSurvey* survey, size_t index, ZvSurveyHistoryPts* out,
                                size_t size);
ZV_API int zvsurvey_history_table(const ZvSurvey* survey, size_t index, ZvSurveyHistoryTable* out,
                                  size_t size);
ZV_API int zvsurvey_history_events(const ZvSurvey* survey, size_t index, ZvSurveyHistoryEvents* out,
                                   size_t size);

ZV_END_DECLS

#endif
