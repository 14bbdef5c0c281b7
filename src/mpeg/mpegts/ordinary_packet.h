// SPDX-License-Identifier: MIT
// The steady state: packets of known streams, in order, without a PCR. They cost the header, one
// table load and the stream's counters, with the exact effect of offering them to every stage.
#pragma once

#include "mpeg/mpegts/packet_walk.h"
#include "mpeg/mpegts/pid_dispatch.h"

namespace zv {

// Deals with packets from `index` on for as long as they are ordinary.
// claims  ready
// -> index of the first packet that the stages must see, nothing of it touched; the count when none
int pass_ordinary(MPEGTSContext& ctx, const PacketWalk& walk, int index, PidClaims& claims,
                  uint8_t flags);

}  // namespace zv
