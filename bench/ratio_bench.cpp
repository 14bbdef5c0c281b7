// SPDX-License-Identifier: MIT
// What one way of feeding costs beside another. Passes alternate, and the ratio is the median of
// the pairs, so that a neighbour's load or a changing clock rate meets both sides.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "fed_stream.h"

namespace {

using namespace zvbench;

struct Comparison {
    ParseCase test;
    ParseCase base;
    double target;  // at most this ratio, a packet
};

const Comparison kComparisons[] = {
    {{"one_by_1316", {}, kBeyondCaches, kDatagram},
     {"one_by_1MB", {}, kBeyondCaches, kMegabyte},
     1.3},
    {{"thirty", {.programs = 30, .streams = 4}, kBeyondCaches, 0},
     {"one", {}, kBeyondCaches, 0},
     1.15},
    {{"lossy", {.lost_percent = 1}, kBeyondCaches, 0}, {"one", {}, kBeyondCaches, 0}, 1.5},
};

// Both streams are fed from the same memory: which pages a stream happens to get is worth more
// than most of what is compared here.
class Stage {
  public:
    explicit Stage(const Comparison& pair)
        : base_(make_stream(pair.base.shape, pair.base.bytes)),
          test_(make_stream(pair.test.shape, pair.test.bytes)) {
        current_.bytes.reserve(std::max(base_.bytes.size(), test_.bytes.size()));
    }

    const SynthStream& base() { return current_ = base_; }
    const SynthStream& test() { return current_ = test_; }

  private:
    SynthStream base_;
    SynthStream test_;
    SynthStream current_;
};

double seconds_a_packet(FedStream& fed, const SynthStream& stream, uint32_t options) {
    return fed.parse(options) / static_cast<double>(stream.packets);
}

void run_comparison(benchmark::State& state, const Comparison& pair, uint32_t options) {
    Stage stage(pair);
    FedStream base(pair.base, stage.base());
    FedStream test(pair.test, stage.test());
    std::vector<double> ratios;
    for (auto _ : state) {
        const double base_seconds = seconds_a_packet(base, stage.base(), options);
        const double test_seconds = seconds_a_packet(test, stage.test(), options);
        ratios.push_back(test_seconds / base_seconds);
        state.SetIterationTime(test_seconds);
    }
    state.counters["x_base"] = median(ratios);
    state.counters["target"] = pair.target;
}

void register_comparisons() {
    for (const Comparison& pair : kComparisons) {
        for (const uint32_t options : {0u, kAllChecks}) {
            char name[64];
            snprintf(name, sizeof name, "ratio/%s:%s/0x%02x", pair.test.name, pair.base.name,
                     options);
            benchmark::RegisterBenchmark(
                name,
                [&pair, options](benchmark::State& state) { run_comparison(state, pair, options); })
                ->UseManualTime()
                ->Iterations(21)
                ->Unit(benchmark::kNanosecond);
        }
    }
}

const bool registered = (register_comparisons(), true);

}  // namespace
