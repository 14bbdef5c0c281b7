// SPDX-License-Identifier: MIT
// The arrival clock of tables and PCRs.
#include "mpeg/mpegts/context.h"
#include "zvcommon.h"

void mpegts_innerapi_getPeriod(Period* period) {
    period->now = zvtime_api_upUs();
    if (period->last != 0) period->period = period->now - period->last;
    period->last = period->now;
}
