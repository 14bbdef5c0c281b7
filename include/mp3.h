/* SPDX-License-Identifier: MIT
 * MPEG audio frame headers (ISO/IEC 11172-3, ISO/IEC 13818-3 and the 2.5 extension; Layers I, II
 * and III): is this one, and what does it say? */
#ifndef ZV_MP3_H
#define ZV_MP3_H

#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* Values of MP3HeaderInfo.version. */
#define ZV_MP3_VERSION_RESERVED 0
#define ZV_MP3_VERSION_2_5 1
#define ZV_MP3_VERSION_2 2
#define ZV_MP3_VERSION_1 3

/* Values of MP3HeaderInfo.layer. */
#define ZV_MP3_LAYER_RESERVED 0
#define ZV_MP3_LAYER_III 1
#define ZV_MP3_LAYER_II 2
#define ZV_MP3_LAYER_I 3

/* Bytes of a frame header, and the room that mp3_api_getInfo needs at most, the terminator
 * included. */
#define ZV_MP3_HEADER_SIZE 4
#define ZV_MP3_INFO_MAX 80

/* One decoded frame header. */
typedef struct MP3HeaderInfo {
    uint32_t version;        /* ZV_MP3_VERSION_* */
    uint32_t layer;          /* ZV_MP3_LAYER_* */
    uint8_t protection;      /* 1: no CRC follows the header */
    int32_t bitrate;         /* kbit/s; -1 for the "free" and "bad" indices */
    int32_t samplerate;      /* Hz; only the upper bit of the index counts, 48000 reads as 44100 */
    uint8_t padding;         /* 0 or 1 */
    uint32_t channel_mode;   /* 0 stereo or 2 dual channel: only the upper bit of the mode counts */
    uint32_t mode_extension; /* 0..3, written for joint stereo (1) only, so never by the check */
    uint8_t rights;          /* copyright bit */
    uint8_t home;            /* original bit */
} MP3HeaderInfo;

/* Tells whether four bytes are a frame header, and decodes it. No second frame is looked for.
 * info  out  the fields; after a failure those decoded before it
 * data  in   four bytes; borrowed for the call
 * len   in   bytes at data; 0 or less is taken for enough, more than four are not looked at
 * -> 1 yes; 0 fewer than four bytes or no sync word (silent), a reserved version or layer (logged),
 *    or a null argument
 * Any thread. */
ZV_API unsigned mp3_api_check(MP3HeaderInfo* info, const uint8_t* data, int len);

/* Appends the header's description, for example ",mpeg1/L3,128 kb/s,44100 Hz,stereo".
 * info  in      filled by mp3_api_check or by the host; values without a name add nothing
 * out   in/out  NUL-terminated text with room for ZV_MP3_INFO_MAX bytes more; untouched when info
 *               is null
 * -> out. Any thread. */
ZV_API char* mp3_api_getInfo(const MP3HeaderInfo* info, char* out);

ZV_END_DECLS

#endif
