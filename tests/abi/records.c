/* SPDX-License-Identifier: MIT
 * Places of members in public records for 64-bit hosts, seen from C: of the records that abidiff
 * does not compare, because no exported function reaches them, or belongs to a platform library.
 * The others have theirs beside their definitions. */
#include <stddef.h>

#include "flv.h"
#include "mpegts.h"
#include "zvmem_ext.h"
#include "zvprotocol.h"
#include "zvsurvey.h"

#define AT(record, member, place) \
    _Static_assert(offsetof(record, member) == (place), #record "." #member)
#define SIZE(record, bytes) _Static_assert(sizeof(record) == (bytes), #record)

#ifdef __LP64__
AT(FLVAudioTag, sound_format, 0);
AT(FLVAudioTag, sound_rate, 1);
AT(FLVAudioTag, sound_size, 2);
AT(FLVAudioTag, sound_type, 3);
AT(FLVAudioTag, aac_packet_type, 4);
AT(FLVVideoTag, frametype, 0);
AT(FLVVideoTag, codec_id, 1);
AT(FLVVideoTag, avpacket_type, 2);
AT(FLVContext, flags_hasaudio, 4);
AT(FLVContext, flags_hasvideo, 5);
AT(FLVContext, tagsize0, 12);
AT(FLVContext, flags_hasfilter, 16);
AT(PutBitContext, buf_ptr, 16);
SIZE(PutBitContext, 32);
AT(Period, last, 0);
AT(Period, now, 8);
AT(Period, period, 16);

AT(ZvptcUrlContext, timeout_ms, 8);
AT(ZvptcUrlContext, receive_buffer, 12);
AT(ZvptcUrlContext, path, 80);
AT(ZvptcUrlContext, query, 1104);
AT(ZvptcUrlContext, userinfo, 2128);
AT(ZvptcUrlContext, port, 4604);
AT(ZvptcUrlInfo, userinfo, 32);
AT(ZvptcUrlInfo, hostname, 160);
AT(ZvptcUrlInfo, port, 416);
AT(ZvptcUrlInfo, ptc_index, 420);
AT(ZvptcUrlInfo, path, 424);
AT(ZvptcUrlInfo, query, 1448);
SIZE(ZvptcUrlInfo, 2472);
AT(ZvptcHandler, ptc_index, 40);
SIZE(ZvptcHandler, 48);
AT(ZvmemCounters, bytes, 8);
SIZE(ZvmemCounters, 16);
#endif

/* A host's `size` tells how many of the members it knows. */
AT(ZvSurveyOptions, size, 0);
#ifdef __LP64__
/* No member ends in room that a later one would take. */
AT(ZvSurveyOptions, history_span_s, 208);
SIZE(ZvSurveyOptions, 216);
#endif

typedef int zv_not_empty;
