// SPDX-License-Identifier: MIT
// The memory layout that compiled hosts rely on, pinned for 64-bit targets.
#include <cstddef>

#include "mpegts.h"

#ifdef __LP64__
static_assert(sizeof(CCState) == 12 && offsetof(CCState, errnum) == 4);
static_assert(sizeof(Period) == 24);
static_assert(sizeof(RateEmu) == 24 && offsetof(RateEmu, numOutOfRange) == 16);
static_assert(sizeof(PesTiming) == 48 && offsetof(PesTiming, lastPts_us) == 24);
static_assert(sizeof(MPEGTSStream) == 280);
static_assert(offsetof(MPEGTSStream, pid) == 8 && offsetof(MPEGTSStream, es_info) == 14);
static_assert(offsetof(MPEGTSStream, kind) == 144 && offsetof(MPEGTSStream, cc_state) == 212);
static_assert(offsetof(MPEGTSStream, timing) == 232);
static_assert(sizeof(StreamInfoEs) == 624);
static_assert(offsetof(StreamInfoEs, kind) == 136 && offsetof(StreamInfoEs, cc_state) == 204);
static_assert(offsetof(StreamInfoEs, sample_rate) == 220);
static_assert(offsetof(StreamInfoEs, frame_rate) == 360);
static_assert(sizeof(StreamInfoProgram) == 3496);
static_assert(offsetof(StreamInfoProgram, service_type) == 7);
static_assert(offsetof(StreamInfoProgram, streams) == 776);
static_assert(offsetof(StreamInfoProgram, pmt_packet) == 3288);
static_assert(sizeof(StreamInfo) == 105376);
static_assert(offsetof(StreamInfo, programs) == 264);
static_assert(offsetof(StreamInfo, report_program_count) == 105144);
static_assert(offsetof(StreamInfo, packet) == 105168);
static_assert(sizeof(RemapTarget) == 14 && offsetof(RemapTarget, pid_es) == 6);
#endif
