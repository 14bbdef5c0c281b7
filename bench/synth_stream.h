// SPDX-License-Identifier: MIT
// Transport streams of any shape and size, made in memory for the benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mpegts.h"

namespace zvbench {

constexpr size_t kTsPacket = 188;
constexpr size_t kDatagram = 7 * kTsPacket;
constexpr uint32_t kAllChecks = ZV_TS_CHECK_CC | ZV_TS_PES_TIMING;

struct StreamShape {
    int programs = 1;
    int streams = 2;            // elementary streams of each programme
    int packet_size = 188;      // 188, 192 (time code in front of the next) or 204 (parity)
    int unit_start_every = 20;  // packets of a stream between two PES headers
    int pcr_every = 60;         // packets of a programme's first stream between two PCRs
    int tables_every = 4000;    // packets between two rounds of PAT, PMTs and SDT
    int null_percent = 0;
    int lost_percent = 0;  // share of stream packets left out, each seen as a continuity error
    int unannounced = 0;   // PIDs that no table names, in turn with the streams
};

struct SynthStream {
    std::vector<uint8_t> bytes;
    size_t packets = 0;
    size_t losses = 0;               // gaps in continuity, where the stream was made
    std::vector<size_t> pcr_fields;  // where the six bytes of each PCR are
    uint64_t ticks = 0;              // 90 kHz, from the first byte to the last
};

// At least min_bytes, in whole packets; ends so that feeding it again continues every counter.
SynthStream make_stream(const StreamShape& shape, size_t min_bytes);

// Moves every PCR on, so that feeding the stream again continues its clocks, too.
void continue_clocks(SynthStream& stream);

}  // namespace zvbench
