/* SPDX-License-Identifier: MIT
 * What our own allocator tells beyond zvcommon.h. A replacement does not have it, so the library
 * proper never calls it; tools and tests do. */
#ifndef ZVMEM_EXT_H
#define ZVMEM_EXT_H

#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* What is allocated at one time. */
typedef struct ZvmemCounters {
    uint64_t blocks; /* blocks allocated and not yet freed */
    uint64_t bytes;  /* bytes asked for in these blocks */
} ZvmemCounters;

/* Counts the live blocks of a tag. Looks at every live block: for diagnostics, not for hot paths.
 * tag  in  compared in the shortened form zvmem_api_malloc keeps; null: all blocks
 * -> the counters. Any thread. */
ZV_API ZvmemCounters zvmem_ext_live(const char* tag);

/* -> the most bytes that were ever allocated at the same time. Any thread. */
ZV_API uint64_t zvmem_ext_peakBytes(void);

ZV_END_DECLS

#endif
