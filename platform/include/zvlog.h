/* SPDX-License-Identifier: MIT
 * The log library that a host supplies: level, tag filter, time stamps, the log file, hex dumps.
 * These are all the functions a replacement has to offer; what our own library adds for tools and
 * tests is declared in zvlog_ext.h. */
#ifndef ZVLOG_H
#define ZVLOG_H

#include <stdint.h>

#include "zv_api.h"

/* Has the compiler check arguments against a format. */
#if defined(__GNUC__)
#define ZVLOG_PRINTF(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
#else
#define ZVLOG_PRINTF(format_index, first_argument)
#endif

ZV_BEGIN_DECLS

/* Printed names of the levels 0..6: FATAL, ERROR, WARN, INFO, DEBUG, VERBOSE, TRACE. */
ZV_API extern const char* strLoglevel_simple[];

/* Tag filter: a NUL-terminated list of tags in any form that keeps them apart ("MPEGTS,zvsi").
 * When it is not empty, only messages whose tag occurs in it are written. "" at start: no filter.
 * Written by the host, read without a lock: set it before other threads log. */
ZV_API extern char strfilterTags[256];

/* Non-zero: log lines carry function name and line number. 0 at start. Same thread rule. */
ZV_API extern unsigned char flag_printLineFunc;

/* Non-zero: log lines are echoed on standard output. 0 at start. Same thread rule. */
ZV_API extern unsigned char flag_stdPrint;

/* Sets the level and opens the log file; a file left open by an earlier call is closed first.
 * level     in  threshold 0 (silent) .. 6 (everything); values outside are moved to the nearer end
 * dir       in  directory of the file, created with its parents when missing; null or "": the
 *               working directory. The environment variable ZVLOG_DIR, when set and not empty,
 *               takes its place
 * file      in  name of the file, appended to; a name that begins with '/' is used as it stands.
 *               null or "": no file, and the console echo (flag_stdPrint) is switched on;
 *               otherwise the echo is left as it is
 * reserved  in  ignored
 * -> 0 ready; -1 the file could not be opened: reported once on stderr, logging goes on without it
 * Any thread; the texts are borrowed for the call. */
ZV_API int zvlog_api_init(int level, const char* dir, const char* file, int reserved);

/* Flushes and closes the log file; level, filter and switches stay. Harmless without a file, and
 * zvlog_api_init may follow. Any thread. */
ZV_API void zvlog_api_deinit(void);

/* -> the threshold: a message of a higher level is not written. 2 before zvlog_api_init.
 * Any thread; costs one load. */
ZV_API unsigned zvlog_api_getLoglevel(void);

/* Sets the threshold.
 * level  in  0..6; above: 6
 * Any thread. */
ZV_API void zvlog_api_setLoglevel(unsigned level);

/* Counts how often a word occurs in a list, ignoring ASCII case; occurrences do not overlap.
 * list, word  in  NUL-terminated texts
 * a, b        in  reserved, pass 1
 * -> the count; 0 when there is none, or when a text is null or the word is empty
 * Any thread. */
ZV_API int zvlog_api_strCasestrNum(const char* list, const char* word, int a, int b);

/* Writes one formatted text of any length to the log file, as it is: the caller supplies the line
 * end. Without a file it does nothing.
 * format  in  as for printf; null does nothing
 * Any thread: each text reaches the file in one piece. */
ZV_API void zvlog_innerapi_file(const char* format, ...) ZVLOG_PRINTF(1, 2);

/* -> the local time as "2024-05-06 07:08:09.123". The text belongs to the calling thread and stays
 *    valid for its next three calls.
 * Any thread. */
ZV_API const char* zvlog_innerapi_logTime(void);

/* Writes a hex dump to the log file and, with flag_stdPrint, to standard output: a line with time,
 * label, length, function and line number, then 16 bytes a line with offset and ASCII. At level 0
 * nothing is written.
 * label     in  title; null reads as ""
 * data      in  `length` bytes; null: only the label line
 * length    in  0 or less: only the label line
 * function  in  name of the caller; null: function and line are left out
 * line      in  the caller's line number
 * Any thread: a dump's lines stay together. */
ZV_API void zvlog_innerapi_bufHex(const char* label, const void* data, int length,
                                  const char* function, int line);

/* Renders a number in decimal.
 * buf    out  32 bytes; null is answered with null
 * value  in   any
 * -> buf. Any thread. */
ZV_API char* zvlog_innerapi_num2str(char* buf, int64_t value);

/* Prints a message on stderr, after time and level name, when the threshold lets it through. Weak
 * in our library: a host that defines its own av_log gets the messages instead.
 * context  in  ignored
 * level    in  0..16 error, ..24 warning, ..32 information, ..40 debug, ..48 verbose, above: trace
 * format   in  the caller supplies the line end; null prints nothing
 * Any thread. */
ZV_API void av_log(void* context, int level, const char* format, ...) ZVLOG_PRINTF(3, 4);

ZV_END_DECLS

#endif
