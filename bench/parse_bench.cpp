// SPDX-License-Identifier: MIT
// The resolver over streams in memory, each pass beside the cost of touching one cache line a
// packet of the same bytes. Passes alternate; `x_touch` is the median of the ratios of neighbours:
// the figure that means something on any machine, whatever else runs on it.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "fed_stream.h"

namespace {

using namespace zvbench;

void run_parse(benchmark::State& state, const ParseCase& test, uint32_t options) {
    const SynthStream& stream = stream_of(test);
    FedStream fed(test, stream);
    fed.parse(options);
    std::vector<double> touched, parsed, ratios;
    for (auto _ : state) {
        touched.push_back(fed.touch());
        parsed.push_back(fed.parse(options));
        ratios.push_back(parsed.back() / touched.back());
        state.SetIterationTime(parsed.back());
    }
    const auto packets = static_cast<double>(stream.packets);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.bytes.size()));
    state.counters["ns_packet"] = median(parsed) / packets * 1e9;
    state.counters["ns_touch"] = median(touched) / packets * 1e9;
    state.counters["x_touch"] = median(ratios);
}

const ParseCase kCases[] = {
    {"one", {}, kBeyondCaches, 0},
    {"thirty", {.programs = 30, .streams = 4}, kBeyondCaches, 0},
    {"null_heavy", {.null_percent = 50}, kBeyondCaches, 0},
    {"lossy", {.lost_percent = 1}, kBeyondCaches, 0},
    {"pes_dense", {.unit_start_every = 3}, kBeyondCaches, 0},
    {"pes_dense_by_1316", {.unit_start_every = 3}, kBeyondCaches, kDatagram},
    {"single_again", {}, kBeyondCaches, 0, "single.ts"},
    {"size192", {.packet_size = 192}, kBeyondCaches, 0},
    {"size204", {.packet_size = 204}, kBeyondCaches, 0},
    {"one_by_1316", {}, kBeyondCaches, kDatagram},
    {"one_by_1MB", {}, kBeyondCaches, kMegabyte},
    {"thirty_by_1316", {.programs = 30, .streams = 4}, kBeyondCaches, kDatagram},
    {"one_in_L2", {}, kInL2, 0},
    {"one_in_L2_by_1316", {}, kInL2, kDatagram},
    {"thirty_in_L2", {.programs = 30, .streams = 4}, kInL2, 0},
    {"pes_dense_in_L2", {.unit_start_every = 3}, kInL2, 0},
};

void register_parse_cases() {
    for (const ParseCase& test : kCases) {
        for (const uint32_t options : {0u, ZV_TS_CHECK_CC, ZV_TS_PES_TIMING, kAllChecks}) {
            char name[64];
            snprintf(name, sizeof name, "parse/%s/0x%02x", test.name, options);
            benchmark::RegisterBenchmark(
                name,
                [&test, options](benchmark::State& state) { run_parse(state, test, options); })
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
        }
    }
}

const bool registered = (register_parse_cases(), true);

}  // namespace
