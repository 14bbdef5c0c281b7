// SPDX-License-Identifier: MIT
// What hosts may rely on in the layout of the public FLV records. Nothing here ends up in code.
#include <cstddef>

#include "flv.h"

#ifdef __LP64__
static_assert(sizeof(FLVMetadata) == 368);
static_assert(offsetof(FLVMetadata, creationdate) == 1);
static_assert(offsetof(FLVMetadata, duration) == 264);
static_assert(offsetof(FLVMetadata, stereo) == 320);
static_assert(offsetof(FLVMetadata, height) == 360);

static_assert(sizeof(FLVAudioTag) == 5);
static_assert(sizeof(FLVVideoTag) == 8);
static_assert(offsetof(FLVVideoTag, composition_time) == 4);

static_assert(offsetof(AMFTable, keys) == 4);
static_assert(offsetof(AMFTable, types) == 65540);
static_assert(offsetof(AMFTable, values) == 65800);
static_assert(offsetof(AMFTable, values) % 8 == 0);
static_assert(sizeof(AMFTable) == 131336);

static_assert(offsetof(FLVContext, version) == 3);
static_assert(offsetof(FLVContext, headerlen) == 8);
static_assert(offsetof(FLVContext, flags_tagtype) == 17);
static_assert(offsetof(FLVContext, data_len) == 20);
static_assert(offsetof(FLVContext, timestamp) == 24);
static_assert(offsetof(FLVContext, streamid) == 28);
static_assert(offsetof(FLVContext, payload) == 32);
static_assert(offsetof(FLVContext, tagsizex) == 131368);
static_assert(offsetof(FLVContext, metadata) == 131376);
static_assert(offsetof(FLVContext, aac_config) == 131744);
static_assert(offsetof(FLVContext, avc_config) == 132768);
static_assert(offsetof(FLVContext, aac_config_len) == 133792);
static_assert(offsetof(FLVContext, avc_config_len) == 133796);
static_assert(sizeof(FLVContext) == 133800);

static_assert(offsetof(FLVProbe, hasfilter) == 3);
static_assert(offsetof(FLVProbe, timestamp) == 4);
static_assert(offsetof(FLVProbe, taggot) == 12);
static_assert(offsetof(FLVProbe, num_datacheck) == 20);
static_assert(offsetof(FLVProbe, metadata) == 24);
static_assert(sizeof(FLVProbe) == 392);

static_assert(offsetof(PutBitContext, bit_left) == 4);
static_assert(offsetof(PutBitContext, buf) == 8);
static_assert(offsetof(PutBitContext, buf_end) == 24);
#endif
