// SPDX-License-Identifier: MIT
// The steady state, once all tables are known: nearly every packet costs the header, one load and
// the counters of its stream. The effect is exactly that of offering each packet to every stage.
#pragma once

#include "mpeg/mpegts/packet_walk.h"

namespace zv {

// Deals with packets from `index` on for as long as it is clear whose they are.
// ctx     ready: make_dispatch_ready
// result  in/out  that of the parse call: 1 once a packet carried a PCR
// -> index of the first packet that was not dealt with; the count when there is none
int pass_steady(MPEGTSContext& ctx, const PacketWalk& walk, int index, uint8_t flags,
                int8_t& result);

}  // namespace zv
