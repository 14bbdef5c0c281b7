/* SPDX-License-Identifier: MIT
 * Transport stream helpers that need no context: is this a transport stream, at which packet size,
 * and three tools that read a whole source. Sources are URLs as the protocol library takes them. */
#ifndef ZV_TS_TOOLS_H
#define ZV_TS_TOOLS_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* Packet size of the transport stream in memory, wherever its first packet starts.
 * buf  in  borrowed; null or len 0 gives 188
 * len  in  bytes in buf
 * -> 188, 192 or 204; 188 when buf holds no sync byte at all. Linear in len. Any thread. */
ZV_API uint8_t mpegts_api_getTsPktSize3(const uint8_t* buf, uint32_t len);

/* Opens a source, reads up to 5120 bytes once and tells the packet size.
 * url          in  up to 1023 characters; borrowed, as all texts here
 * interfaceIn  in  interface to receive a udp or rtp multicast group on, by name or address; null
 *                  or "": the system's choice
 * a3, a4       in  passed on to zvptc_api_getPtcindex
 * -> 188, 192 or 204 (188 when the bytes hold no sync byte at all); 0 when the source cannot be
 *    opened or gives nothing (logged), or url is null
 * Waits for the source like its read does. Any thread. */
ZV_API uint8_t mpegts_api_getTsPktSize(const char* url, const char* interfaceIn, int a3,
                                       uint8_t a4);

/* Does the same, with another answer to failures.
 * url, interfaceIn, a3, a4  in  as for mpegts_api_getTsPktSize
 * -> 188 where mpegts_api_getTsPktSize gives 0, else the same */
ZV_API uint8_t mpegts_api_getTsPktSize2(const char* url, const char* interfaceIn, int a3,
                                        uint8_t a4);

/* Where does the first packet start in the first 5120 bytes of a file?
 * url  in  a path; borrowed
 * -> its offset; -1 not a file (never opened), no packet start, or null url; -2 cannot be opened;
 *    -3 gives nothing. The failures are logged. Any thread. */
ZV_API int mpegts_api_getTsPos(const char* url);

/* Is a source neither flagged, nor named like a transport stream file, nor declared one?
 * flag    in  non-zero: no
 * url     in  may be null; containing ".ts" in any case: no
 * format  in  may be null; "mpegts": no
 * -> 1 or 0. Any thread. */
ZV_API int mpegts_api_isFileNMpegts(int flag, const char* url, const char* format);

/* Is a format transport stream?
 * format  in  may be null: no
 * flag    in  non-zero: yes
 * -> 1 when flag is not 0 or format is "mpegts", "hls" or "rtp_mpegts"; else 0. Any thread. */
ZV_API int mpegts_api_isMpeg(const char* format, uint16_t flag);

/* Is a format transport stream, or RTP that may carry it?
 * format  in  may be null: no
 * -> 1 when mpegts_api_isMpeg holds with flag 0, or format is "rtp"; else 0. Any thread. */
ZV_API int mpegts_api_isMpeg2(const char* format);

/* Results of the stream tools. */
#define ZV_TS_TOOL_DONE 0
#define ZV_TS_TOOL_MISSING_ARGUMENT (-1)
#define ZV_TS_TOOL_CANNOT_OPEN (-2)
#define ZV_TS_TOOL_CANNOT_READ (-3)
#define ZV_TS_TOOL_CANNOT_WRITE (-4)

/* The stream tools. Each opens a source, runs the analyser over it and returns when the source has
 * ended: at its last byte, when nothing came for the protocol's time-out, or when a signal
 * interrupted the wait. They find the first packet and, where the stream is damaged, the next one.
 * The report at the end (level 3, tag "MPEGTS") is the line of mpegts_api_getStreamInfo, then
 * "* packets,skippedBytes,syncLosses:" with what lay outside of packets, then a block of counters
 * of every table and stream.
 * log_level  in  0 (silent) .. 6; 3 shows the reports
 * url        in  borrowed
 * -> ZV_TS_TOOL_DONE the source was read to its end, as above
 *    ZV_TS_TOOL_MISSING_ARGUMENT url is null
 *    ZV_TS_TOOL_CANNOT_OPEN the scheme is unknown, the source cannot be opened, or memory is short
 *    ZV_TS_TOOL_CANNOT_READ nothing could be read, or reading failed before the end; also when a
 *       signal interrupted the wait while files were written, unless the source sends datagrams,
 *       which end no other way
 *    ZV_TS_TOOL_CANNOT_WRITE the output cannot be written
 * Each failure is logged. Files are written under a temporary name and get their own name when
 * complete: after a failure there are none, and files of an earlier run are as they were. (Of
 * several files, some may have their names when giving a name fails.)
 * The tools start and end the log (into /var/log/tavrix), memory and protocol library, so a log
 * file that the host had opened is closed. One tool at a time. */

/* Analyses with continuity checks and PES timing, and writes the payload of each elementary
 * stream's PES packets to <out_dir>/<program_number>_<pid as 0x...>_<stream type's name>.es, for
 * example 1_0x100_h264.es. A stream without PES packets (sections) gives no file. Of each programme
 * the first four streams are known; packets up to 4 MiB ahead of the tables are not lost.
 * Logs to tsExtract.txt.
 * out_dir  in  existing directory; null: nothing is written */
ZV_API int mpegts_api_tsExtract(int log_level, const char* url, const char* out_dir);

/* Analyses with continuity checks and reports as time passes. Logs to tsMonitor.txt.
 * log_level, url  in  as for mpegts_api_tsExtract
 * interval_ms     in  wall-clock time between reports, which come while data does; 0: at the end
 *                     only
 * -> as mpegts_api_tsExtract */
ZV_API int mpegts_api_tsMonitor(int log_level, const char* url, unsigned interval_ms);

/* Takes a transport stream out of RTP datagrams (RFC 3550, RFC 2250), puts it in the order of the
 * sequence numbers, analyses it like mpegts_api_tsExtract and writes it to a file. Datagrams of
 * plain transport stream, and sources without datagrams, pass as they are. Logs to rtpDemux.txt;
 * its report ends with "[RTP]packets,lost,repeated,reordered,late,bad:":
 *     packets    datagrams with a sound RTP header
 *     lost       never came, or came after more than 16 later ones
 *     repeated   had come before; left out
 *     reordered  came after a later one, and were put in their place
 *     late       came too late (counted as lost as well) or before the first; left out
 *     bad        not RTP version 2, claims beyond its bytes, or no whole transport packets; left
 *                out
 * log_level, url  in  as for mpegts_api_tsExtract
 * ts_out          in  file to write, when the source has packets; a pipe or device is written
 *                     directly; null: nothing is written
 * -> as mpegts_api_tsExtract */
ZV_API int mpegts_api_rtpDemux(int log_level, const char* url, const char* ts_out);

ZV_END_DECLS

#endif
