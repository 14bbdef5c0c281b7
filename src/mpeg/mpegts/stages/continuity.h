// SPDX-License-Identifier: MIT
// Continuity checking of a table or stream, with the text that names it in messages.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

// "<context name>-Pid<pid>(<table or stream type>)". Formatting costs more than the whole analysis
// of a packet, so a label is made only for a message that will be written.
struct StreamLabel {
    StreamLabel(const MPEGTSContext& ctx, const char* what);
    char text[1152];
};

// Checks the packet whose header is in ctx; label and message are made only when it is out of order.
int check_continuity(const MPEGTSContext& ctx, CCState& state, const char* what, uint8_t mode);

// Checks a packet of a table, when asked, and dumps its counter when DBG_AV is on.
void check_table_continuity(const MPEGTSContext& ctx, CCState& state, const char* table,
                            uint8_t flags);

// The DBG_AV dump of the counter checked last.
void dump_continuity(const MPEGTSContext& ctx, const CCState& state, const char* what);

}  // namespace zv
