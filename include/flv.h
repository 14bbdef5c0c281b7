/* SPDX-License-Identifier: MIT
 * FLV: probing a stream tag by tag, describing it in one line, and writing the start of a new file
 * with a fresh onMetaData block. Every record belongs to the caller; nothing is allocated. */
#ifndef ZV_FLV_H
#define ZV_FLV_H

#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* Tag types of a tag header's low five bits; every other type is unknown here. */
#define ZV_FLV_TAG_AUDIO 8
#define ZV_FLV_TAG_VIDEO 9
#define ZV_FLV_TAG_SCRIPT 18

/* Bytes of the parts of a file that have a fixed size. */
#define ZV_FLV_FILE_HEADER_SIZE 9
#define ZV_FLV_TAG_HEADER_SIZE 11
#define ZV_FLV_PREVIOUS_TAG_SIZE 4 /* the word after the file header and after every tag */

/* Room that flv_api_setFlvHeaderScript needs at most. */
#define ZV_FLV_HEADER_SCRIPT_MAX 453

/* Room that flv_api_getInfo needs at most, the terminator included. */
#define ZV_FLV_INFO_MAX 2048

/* Capacities: what lies beyond is read, but not stored. */
#define ZV_FLV_AMF_ENTRIES 256
#define ZV_FLV_AMF_SLOT 256
#define ZV_FLV_CONFIG_MAX 1024

/* Values picked out of script data, under the names of their keys. The probe fills the ones it can
 * tell from tag headers; the others stay 0. */
typedef struct FLVMetadata {
    uint8_t canSeekToEnd;   /* 0 or 1 */
    char creationdate[263]; /* NUL-terminated */
    double duration;        /* seconds */
    double filesize;        /* bytes */
    double audiocodecid;    /* sound format code */
    double audiodatarate;   /* kbit/s */
    double audiodelay;      /* seconds */
    double audiosamplerate; /* Hz */
    double audiosamplesize; /* bits */
    uint8_t stereo;         /* 0 or 1 */
    double videocodecid;    /* codec code */
    double videodatarate;   /* kbit/s */
    double framerate;       /* frames/s */
    double width;           /* pixels */
    double height;          /* pixels */
} FLVMetadata;

/* Head of an audio tag's body. */
typedef struct FLVAudioTag {
    uint8_t sound_format;    /* 0..15, 10 = AAC */
    uint8_t sound_rate;      /* 0..3: 5.5, 11, 22, 44.1 kHz */
    uint8_t sound_size;      /* 0 = 8-bit, 1 = 16-bit samples */
    uint8_t sound_type;      /* 0 = mono, 1 = stereo */
    uint8_t aac_packet_type; /* AAC only: 0 = sequence header, 1 = raw */
} FLVAudioTag;

/* Head of a video tag's body. */
typedef struct FLVVideoTag {
    uint8_t frametype;         /* 1 = key frame */
    uint8_t codec_id;          /* 7 = AVC */
    uint8_t avpacket_type;     /* AVC only: 0 = sequence header, 1 = NALU, 2 = end of sequence */
    uint32_t composition_time; /* AVC only: the 24-bit value, not sign-extended */
} FLVVideoTag;

/* Named values of a script tag, flat: a nested object writes into the same slots from entry 0 on.
 * Texts have no terminator of their own; a table that was all zero before ends them. */
typedef struct AMFTable {
    uint32_t count; /* as the last object or array claims it, may exceed the 256 entries stored */
    char keys[ZV_FLV_AMF_ENTRIES][ZV_FLV_AMF_SLOT]; /* at most 31 characters are kept */
    uint8_t types[ZV_FLV_AMF_ENTRIES]; /* 0 number, 1 boolean, 2 string, 12 long string */
    /* A number as double in host order, a boolean in the first byte, a text from the start on. */
    __attribute__((aligned(8))) uint8_t values[ZV_FLV_AMF_ENTRIES][ZV_FLV_AMF_SLOT];
} AMFTable;

/* What the reader knows of a file and of its current tag: some 131 KiB, mind your stack. */
typedef struct FLVContext {
    uint8_t signature[3];   /* "FLV", not checked */
    uint8_t version;        /* of the file header, as the next three */
    int8_t flags_hasaudio;  /* 0 or 1 */
    int8_t flags_hasvideo;  /* 0 or 1 */
    uint32_t headerlen;     /* bytes */
    uint32_t tagsize0;      /* the word after the file header */
    int8_t flags_hasfilter; /* 1: the tag is encrypted */
    uint8_t flags_tagtype;  /* ZV_FLV_TAG_* */
    uint32_t data_len;      /* bytes of the tag's body */
    int8_t timestamp;       /* extension byte of the tag's timestamp, nothing more */
    uint32_t streamid;      /* not read from the tag */
    union {
        FLVAudioTag audio;
        FLVVideoTag video;
        AMFTable script;
    } payload;                             /* by flags_tagtype */
    uint32_t tagsizex;                     /* the word after the current tag */
    FLVMetadata metadata;                  /* of script data */
    uint8_t aac_config[ZV_FLV_CONFIG_MAX]; /* AAC sequence header */
    uint8_t avc_config[ZV_FLV_CONFIG_MAX]; /* AVC sequence header */
    uint32_t aac_config_len;               /* bytes kept */
    uint32_t avc_config_len;               /* bytes kept */
} FLVContext;

/* Progress of a probe; all zero before the first call. */
typedef struct FLVProbe {
    uint8_t keyframe;       /* 1 once a video key frame was seen */
    uint8_t hasvideo;       /* 1 once a video tag was seen */
    uint8_t hasaudio;       /* 1 once an audio tag was seen */
    uint8_t hasfilter;      /* for the writer only, set by the host */
    uint32_t timestamp;     /* extension byte of the last tag's timestamp, sign-extended; 0 after a
                             * later piece of a tag */
    uint32_t taglen;        /* body bytes of the tag in progress */
    uint32_t taggot;        /* bytes of it received so far; 0: the next call starts a tag */
    uint32_t num_dataerror; /* unknown tag types in a row */
    uint32_t num_datacheck; /* calls that looked at a tag or a piece of one */
    FLVMetadata metadata;   /* of the tag headers, not of script data */
} FLVProbe;

/* Bits waiting for the bit writer. */
typedef struct PutBitContext {
    uint32_t bit_buf; /* pending bits, right-aligned */
    int32_t bit_left; /* free bits in bit_buf, 32 when it is empty */
    uint8_t* buf;     /* start of the output, borrowed */
    uint8_t* buf_ptr; /* next byte to write */
    uint8_t* buf_end; /* end of the output */
} PutBitContext;

/* Reserved for users of the library, which itself neither reads nor writes them. 0 at load. */
ZV_API extern int32_t FLVVIDEOFrametype;
ZV_API extern int32_t FLVVIDEOCodeid;
ZV_API extern int32_t FLVSOUNDFormat;

/* Decides over successive calls whether bytes are a usable FLV stream, and what it carries.
 * At most one tag is looked at per call, and bytes after the end of a tag are dropped, so pass
 * each tag with its trailing size word and no more. A tag may arrive in pieces: only the first is
 * decoded, as far as it goes. Of a later piece (taggot not 0) the size alone matters: each but the
 * last is counted in num_datacheck and sets timestamp to 0, one of size 0 too.
 * probe  in/out  progress, and the description found so far
 * data   in      the first call starts after the 13 bytes of file header and first size word; a
 *                call with taggot 0 starts at a tag header, of which all 11 bytes should be
 *                there (missing ones read as 0). May be null for a later piece, which is not read.
 *                Borrowed for the call
 * size   in      bytes at data; where a tag would start, 0 (or null data) changes nothing and the
 *                result is 1
 * -> 1 go on, or decided: audio, video and a key frame were seen, or over 300 tags without video
 *      but with audio
 *    0 no stream to work with: an unknown tag type in this call, four of them in a row earlier,
 *      over 300 tags without audio or video, or a null probe
 * A tag whose trailing size word is wrong is logged; it counts with all its fields 0.
 * Any thread, one at a time per probe. */
ZV_API int flv_api_check(FLVProbe* probe, const uint8_t* data, uint32_t size);

/* Appends the stream's description, for example "video:AVC(H.264),29.97,720X480,audio:AAC,44100".
 * Frame rate and picture size are fixed values of the probe, not read from the stream.
 * probe  in      filled by flv_api_check or by the host; a codec without a name prints an empty one
 * out    in/out  NUL-terminated text with room for ZV_FLV_INFO_MAX bytes more; untouched when an
 *                argument is null
 * Any thread. */
ZV_API void flv_api_getInfo(const FLVProbe* probe, char* out);

/* Writes the start of a new file: file header, first size word, and an onMetaData script tag with
 * its size word. The caller appends the stream's audio and video tags.
 * probe  in   hasaudio, hasvideo, hasfilter, timestamp and the summary; duration and filesize are
 *             left out when 0
 * out    out  ZV_FLV_HEADER_SCRIPT_MAX bytes
 * -> bytes written, 185..453; 0 when an argument is null. Any thread. */
ZV_API unsigned flv_api_setFlvHeaderScript(const FLVProbe* probe, uint8_t* out);

/* Prints the file header and the first 21 tags of a source to the console through the log, tries
 * the writer, and ends the process with status 0, also when the source cannot be opened, ends
 * early, or has a tag of more than 10236 bytes (logged). For a small test program.
 * log_level  in  4 shows the fields
 * url        in  a path or URL of the protocol library; borrowed
 * Returns only when no protocol handler knows the scheme (logged, null url too); log, memory and
 * protocol library are left started then. Not for several threads. */
ZV_API void flv_api_test(int log_level, const char* url);

ZV_END_DECLS

#endif
