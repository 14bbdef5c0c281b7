// SPDX-License-Identifier: MIT
// One table through a fresh context that is made to wait for it, for its log lines.
#include <cstring>

#include "mpeg/mpegts/context.h"

namespace {

MPEGTSContext context_with_programs(uint16_t count) {
    MPEGTSContext context;
    memset(static_cast<void*>(&context), 0, sizeof context);
    context.totalnum_program = count;
    return context;
}

}  // namespace

int mpegts_api_parsePat(const uint8_t* buffer, int length) {
    MPEGTSContext context = context_with_programs(0);
    return mpegts_parse(&context, buffer, length, 0);
}

int mpegts_api_parseSdt(const uint8_t* buffer, int length) {
    MPEGTSContext context = context_with_programs(1);
    return mpegts_parse(&context, buffer, length, 0);
}

int mpegts_api_parsePmt(const uint8_t* buffer, uint16_t pmt_pid, int length) {
    MPEGTSContext context = context_with_programs(1);
    context.has_pat = 1;
    context.ts_head.pid = pmt_pid;
    context.program[0].pmt_pid = pmt_pid;
    return mpegts_parse(&context, buffer, length, 0);
}
