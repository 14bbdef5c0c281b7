/* SPDX-License-Identifier: MIT
 * What our own log library offers beyond zvlog.h. A replacement does not have it, so the library
 * proper never calls it; tools and tests do. */
#ifndef ZVLOG_EXT_H
#define ZVLOG_EXT_H

#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

#define ZVLOG_DEFAULT_MAX_BYTES (10u * 1024u * 1024u)
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

ZV_END_DECLS

#endif
