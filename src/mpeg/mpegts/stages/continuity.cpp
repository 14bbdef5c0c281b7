// SPDX-License-Identifier: MIT
// The continuity check of the packet whose header is in the context, and the texts that only its messages need.
#include "mpeg/mpegts/stages/continuity.h"

#include <cstdio>

#include "bitStream/log.h"

namespace zv {

StreamLabel::StreamLabel(const MPEGTSContext& ctx, const char* what) {
    snprintf(text, sizeof text, "%.*s-Pid%#x(%.64s)", kNameSize, ctx.name, ctx.ts_head.pid, what);
}

int check_continuity(const MPEGTSContext& ctx, CCState& state, const char* what, uint8_t mode) {
    const uint8_t cc = ctx.ts_head.continuity_counter;
    if (accept_continuity(state, cc, mode)) return 0;
    if (!log_enabled(kLogWarning, "zvsi")) return count_discontinuity(state, cc) < 0 ? 0 : -1;
    return zvsi_api_CCCheck(StreamLabel(ctx, what).text, &state, cc, mode);
}

void dump_continuity(const MPEGTSContext& ctx, const CCState& state, const char* what) {
    if (!DBG_AV) return;
    LOG(kLogDebug, "MPEGTS", "[%s]cc:0x%02x", StreamLabel(ctx, what).text, state.last_cc);
}

void check_table_continuity(const MPEGTSContext& ctx, CCState& state, const char* table,
                            uint8_t flags) {
    if (!(flags & ZV_TS_CHECK_CC)) return;
    check_continuity(ctx, state, table, 0);
    dump_continuity(ctx, state, table);
}

}  // namespace zv
