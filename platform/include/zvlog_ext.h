/* SPDX-License-Identifier: MIT
 * What our own log library offers beyond zvlog.h. A replacement does not have it, so the library
 * proper never calls it; tools and tests do. */
#ifndef ZVLOG_EXT_H
#define ZVLOG_EXT_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* Rotation before it is set: bytes, old files to keep; and the most that can be kept. */
#define ZVLOG_DEFAULT_MAX_BYTES (10u << 20)
#define ZVLOG_DEFAULT_GENERATIONS 3u
#define ZVLOG_MOST_GENERATIONS 99u

/* Sets how the log file is rotated, from the next zvlog_api_init on. A text that would take `file`
 * beyond max_bytes makes `file` become file.1, file.1 become file.2 and so on, and starts `file`
 * anew. Only regular files are rotated: devices, pipes and symbolic links just grow. The
 * environment variables ZVLOG_MAX_BYTES and ZVLOG_GENERATIONS (plain decimal numbers) win over
 * both arguments.
 * max_bytes    in  0: never rotate
 * generations  in  old files to keep, at most 99 (ZVLOG_MOST_GENERATIONS); 0: `file` is emptied
 * Any thread. */
ZV_API void zvlog_ext_setRotation(uint64_t max_bytes, unsigned generations);

/* Reads along in the log.
 * user    in  what zvlog_ext_setObserver was given
 * text    in  one text as the log file gets it: a line with its line end. Borrowed for the call,
 *             not terminated
 * length  in  bytes of text
 * Called by the thread that logs, one call at a time, under the log's lock: it must not log. */
typedef void (*ZvlogObserver)(void* user, const char* text, size_t length);

/* Has a function see every text that is written from now on, whether or not there is a log file.
 * While it is set, a log file that cannot be opened is not reported on stderr.
 * observer  in  null: none; replaces the previous one, which is not called any more when
 *               this returns
 * user      in  passed on to it
 * Any thread, but not from within the observer. */
ZV_API void zvlog_ext_setObserver(ZvlogObserver observer, void* user);

ZV_END_DECLS

#endif
