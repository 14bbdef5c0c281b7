/* SPDX-License-Identifier: MIT
 * The library's front door: the registry of stream analysers ("resolvers") and the library's
 * identity. What a resolver finds is declared beside it, for "mpegts" in mpegts.h. */
#ifndef ZV_BITSTREAM_H
#define ZV_BITSTREAM_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* A resolver: its names and its four operations, called in the order init, parse (any number of
 * times), updateInfo (whenever wanted), deinit. One context is used by one thread at a time. */
typedef struct AVParser {
    const char* name;      /* short name for look-up, e.g. "mpegts" */
    const char* long_name; /* one line for people */

    /* Creates a context.
     * slot      out  receives the context, or null when memory is short; owned by the caller
     * name      in   label for log lines, copied; one of 256 characters or more is cut to 256 and
     *                reported at level 2; null reads as ""
     * reserved  in   ignored */
    void (*init)(void** slot, const char* name, void* reserved);

    /* Analyses one buffer of whole packets; a partial packet at its end is ignored, so the caller
     * carries it over to the next call.
     * context  in/out  from init
     * buf      in      the first packet starts at buf[0]; borrowed for the call
     * len      in      bytes in buf
     * flags    in      option word, the bits ZV_TS_* of mpegts.h
     * -> "mpegts": -1 null argument or a packet without sync byte (packets before it count),
     *    1 some packet carried a PCR once all tables were known, 0 otherwise. With
     *    ZV_TS_STOP_KNOWN and all tables known: 0, and buf, which may then be null, is not looked
     *    at */
    int (*parse)(void* context, const uint8_t* buf, int len, uint32_t flags);

    /* Copies what has been found into the caller's record.
     * context  in/out  from init
     * info     in/out  "mpegts": a StreamInfo, all zero before the first update
     * -> "mpegts": 1 the record was filled; -1 a null argument, tables still missing (`progress` is
     *    set when a PMT has come), or neither a table nor a PCR came since the last 1 */
    int (*updateInfo)(void* context, void* info);

    /* Frees the context.
     * slot  in/out  from init, holds null afterwards; one that holds null is left alone */
    void (*deinit)(void** slot);

    struct AVParser* next; /* link of the registry's list, null at its tail */
} AVParser;

/* Appends a resolver to the process-wide list.
 * desc  in  sizeof(AVParser) bytes or more: linked in place and must live as long as the process;
 *           fewer: the first `size` bytes are copied, the rest of the copy is zero
 * size  in  bytes at desc; 0 or less copies nothing
 * -> always 0. A null desc or a failed allocation links nothing. There is no check for duplicates.
 * Not thread-safe: register once, before any look-up. */
ZV_API int ffurl_register_resolver(AVParser* desc, int size);

/* Finds a resolver.
 * name  in  its exact name in the same case
 * -> the first match, owned by the registry; null when there is none or name is null (logged)
 * Any thread once registration is done. */
ZV_API AVParser* ffurl_match_resolver(const char* name);

/* Registers the built-in resolvers and logs the table of parsers at level 5. Call it once. */
ZV_API void bitStream_register_parser(void);

/* Appends "linux_soc|mpegts_parser|flv_parser|mp3_parser" to buf.
 * buf  in/out  NUL-terminated text with room for 45 characters more; null is ignored */
ZV_API void zvbitStream_api_info(char* buf);

/* -> the version, "01.00.22", static */
ZV_API const char* zvbitStream_api_version(void);

/* The transport stream resolver, "mpegts". Use it through the registry or directly. */
ZV_API extern AVParser ffurl_mpegts_parser;

ZV_END_DECLS

#endif
