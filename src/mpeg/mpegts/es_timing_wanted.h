// SPDX-License-Identifier: MIT
// Which streams the option word asks to be timed, and which of them paces.
#pragma once

#include "mpeg/mpegts/context.h"

namespace zv {

struct EsTiming {
    bool wanted;
    uint8_t pace;  // 1: the stream's time stamps pace the caller
};

inline EsTiming es_timing_wanted(const MPEGTSContext& ctx, const MPEGTSStream* es, uint8_t flags) {
    if ((flags & ZV_TS_PACE_PES) && es == ctx.btc_es) return {true, 1};
    return {(flags & ZV_TS_PES_TIMING) != 0, 0};
}

}  // namespace zv
