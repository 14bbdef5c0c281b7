// SPDX-License-Identifier: MIT
// The resolver over streams in memory, each pass beside the cost of touching one cache line a
// packet of the same bytes. `x_touch` is the ratio of the two in the same run: the figure that
// means something on any machine.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "fed_stream.h"

namespace {

using namespace zvbench;

// One stream is kept at a time: the large ones would not all fit a small machine.
const SynthStream& stream_of(const ParseCase& test) {
    static std::string kept_name;
    static SynthStream kept;
    if (kept_name != test.name) {
        kept = {};
        kept = make_stream(test.shape, test.bytes);
        kept_name = test.name;
    }
    return kept;
}

void run_parse(benchmark::State& state, const ParseCase& test, uint32_t options) {
    const SynthStream& stream = stream_of(test);
    FedStream fed(test, stream);
    fed.parse(options);
    double touch_seconds = 0;
    double parse_seconds = 0;
    for (auto _ : state) {
        touch_seconds += fed.touch();
        const double seconds = fed.parse(options);
        parse_seconds += seconds;
        state.SetIterationTime(seconds);
    }
    const auto rounds = static_cast<double>(state.iterations());
    const double packets = rounds * static_cast<double>(stream.packets);
    state.SetBytesProcessed(static_cast<int64_t>(rounds) *
                            static_cast<int64_t>(stream.bytes.size()));
    state.counters["ns_packet"] = parse_seconds / packets * 1e9;
    state.counters["ns_touch"] = touch_seconds / packets * 1e9;
    state.counters["x_touch"] = parse_seconds / touch_seconds;
}

const ParseCase kCases[] = {
    {"one", {}, kBeyondCaches, 0},
    {"thirty", {.programs = 30, .streams = 4}, kBeyondCaches, 0},
    {"null_heavy", {.null_percent = 50}, kBeyondCaches, 0},
    {"lossy", {.lost_percent = 1}, kBeyondCaches, 0},
    {"pes_dense", {.unit_start_every = 3}, kBeyondCaches, 0},
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
