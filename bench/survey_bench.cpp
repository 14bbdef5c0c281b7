// SPDX-License-Identifier: MIT
// The survey over streams in memory, from the first byte to `finish`, each pass beside the cost of
// touching one cache line a packet of the same bytes. `x_touch` as in parse_bench.cpp.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fed_stream.h"
#include "zvsurvey.h"

namespace {

using namespace zvbench;
using Clock = std::chrono::steady_clock;

struct Free {
    void operator()(ZvSurvey* survey) const { zvsurvey_free(survey); }
};
using Survey = std::unique_ptr<ZvSurvey, Free>;

// Small streams are fed again and again, with clocks that go on, so that making the survey is not what
// is measured.
size_t passes_of(const SynthStream& stream) {
    return std::max<size_t>(1, (size_t{64} << 20) / stream.bytes.size());
}

double survey(SynthStream& stream) {
    auto start = Clock::now();
    const Survey survey(zvsurvey_new(nullptr));
    const size_t passes = passes_of(stream);
    double seconds = 0;
    for (size_t i = 0; i < passes; ++i) {
        zvsurvey_feed(survey.get(), stream.bytes.data(), stream.bytes.size());
        if (i + 1 == passes) break;
        seconds += std::chrono::duration<double>(Clock::now() - start).count();
        continue_clocks(stream);
        start = Clock::now();
    }
    zvsurvey_finish(survey.get());
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
    return seconds / static_cast<double>(passes);
}

// The answer first: every packet counted, and no fewer PIDs than carry streams.
void prove(const ParseCase& test, const SynthStream& stream) {
    const Survey survey(zvsurvey_new(nullptr));
    zvsurvey_feed(survey.get(), stream.bytes.data(), stream.bytes.size());
    zvsurvey_finish(survey.get());
    ZvSurveyTotals totals = {};
    zvsurvey_totals(survey.get(), &totals, sizeof totals);
    const auto pids =
        static_cast<size_t>(test.shape.programs * test.shape.streams + test.shape.unannounced);
    if (totals.packets == stream.packets && totals.pids >= pids) return;
    fprintf(stderr, "survey of %s: wrong totals\n", test.name);
    exit(1);
}

void run_survey(benchmark::State& state, const ParseCase& test) {
    SynthStream& stream = stream_of(test);
    prove(test, stream);
    std::vector<double> touched, surveyed, ratios;
    for (auto _ : state) {
        touched.push_back(touch(stream, test.shape.packet_size));
        surveyed.push_back(survey(stream));
        ratios.push_back(surveyed.back() / touched.back());
        state.SetIterationTime(surveyed.back());
    }
    const auto packets = static_cast<double>(stream.packets);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.bytes.size()));
    state.counters["ns_packet"] = median(surveyed) / packets * 1e9;
    state.counters["ns_touch"] = median(touched) / packets * 1e9;
    state.counters["x_touch"] = median(ratios);
}

const ParseCase kCases[] = {
    {"2_pids", {}, kBeyondCaches, 0},
    {"120_pids", {.programs = 30, .streams = 4}, kBeyondCaches, 0},
    {"2000_pids", {.unannounced = 1998}, kBeyondCaches, 0},
    {"half_nulls", {.null_percent = 50}, kBeyondCaches, 0},
    {"pes_dense", {.unit_start_every = 3}, kBeyondCaches, 0},
    {"single_again", {}, kBeyondCaches, 0, "single.ts"},
    {"2_pids_in_L2", {}, kInL2, 0},
    {"120_pids_in_L2", {.programs = 30, .streams = 4}, kInL2, 0},
    {"2000_pids_in_L2", {.unannounced = 1998}, kInL2, 0},
};

void register_survey_cases() {
    for (const ParseCase& test : kCases) {
        benchmark::RegisterBenchmark((std::string("survey/") + test.name).c_str(),
                                     [&test](benchmark::State& state) { run_survey(state, test); })
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
}

const bool registered = (register_survey_cases(), true);

}  // namespace
