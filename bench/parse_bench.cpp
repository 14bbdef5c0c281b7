// SPDX-License-Identifier: MIT
// The resolver over streams in memory, each pass beside the cost of touching one cache line a
// packet of the same bytes. `x_touch` is the ratio of the two in the same run: the figure that
// means something on any machine.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "bitStream.h"
#include "mpegts.h"
#include "synth_stream.h"
#include "zvlog.h"

namespace {

using Clock = std::chrono::steady_clock;
using zvbench::StreamShape;
using zvbench::SynthStream;

constexpr size_t kBeyondCaches = 600u << 20;
constexpr size_t kInL2 = 1u << 20;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// One stream is kept at a time: the large ones would not all fit a small machine.
const SynthStream& stream_of(const std::string& key, const StreamShape& shape, size_t bytes) {
    static std::string kept_key;
    static SynthStream kept;
    if (kept_key != key) {
        kept = {};
        kept = zvbench::make_stream(shape, bytes);
        kept_key = key;
    }
    return kept;
}

double touch_pass(const SynthStream& stream, size_t packet_size) {
    const auto start = Clock::now();
    unsigned sum = 0;
    for (size_t at = 0; at < stream.bytes.size(); at += packet_size)
        sum += stream.bytes[at];
    benchmark::DoNotOptimize(sum);
    return seconds_since(start);
}

class Context {
  public:
    Context() { ffurl_mpegts_parser.init(&context_, "bench", nullptr); }
    ~Context() { ffurl_mpegts_parser.deinit(&context_); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    // Feeds whole packets in chunks of about chunk_bytes (0: all at once).
    void feed(const SynthStream& stream, size_t packet_size, size_t chunk_bytes, uint32_t options) {
        const size_t whole = std::min<size_t>(stream.bytes.size(), 1u << 30);
        const size_t chunk = chunk_bytes == 0
                                 ? whole
                                 : std::max(packet_size, chunk_bytes / packet_size * packet_size);
        for (size_t at = 0; at < whole; at += chunk) {
            const auto size = static_cast<int>(std::min(chunk, whole - at));
            ffurl_mpegts_parser.parse(context_, stream.bytes.data() + at, size, options);
        }
    }

    bool report(StreamInfo& info) { return ffurl_mpegts_parser.updateInfo(context_, &info) == 1; }

  private:
    void* context_ = nullptr;
};

// The answer first: every programme known and every planned loss counted, or the run stops.
void prove(const SynthStream& stream, const StreamShape& shape) {
    Context context;
    context.feed(stream, static_cast<size_t>(shape.packet_size), 0, ZV_TS_CHECK_CC);
    auto info = std::make_unique<StreamInfo>();
    size_t errors = 0;
    if (context.report(*info)) {
        for (int p = 0; p < info->program_count; ++p)
            for (int s = 0; s < info->programs[p].es_count; ++s)
                errors += info->programs[p].streams[s].cc_state.errnum;
    }
    if (info->program_count == shape.programs && errors == stream.losses) return;
    fprintf(stderr, "wrong answer: %d programmes, %zu continuity errors instead of %zu\n",
            info->program_count, errors, stream.losses);
    exit(1);
}

struct ParseCase {
    const char* name;
    StreamShape shape;
    size_t bytes;
    size_t chunk_bytes;
};

void run_parse(benchmark::State& state, const ParseCase& test, uint32_t options) {
    const auto packet_size = static_cast<size_t>(test.shape.packet_size);
    const SynthStream& stream = stream_of(test.name, test.shape, test.bytes);
    zvlog_api_setLoglevel(1);
    prove(stream, test.shape);
    Context context;
    context.feed(stream, packet_size, test.chunk_bytes, options);
    double touch_seconds = 0;
    double parse_seconds = 0;
    for (auto _ : state) {
        touch_seconds += touch_pass(stream, packet_size);
        const auto start = Clock::now();
        context.feed(stream, packet_size, test.chunk_bytes, options);
        const double seconds = seconds_since(start);
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

constexpr size_t kDatagram = 7 * 188;
constexpr size_t kMegabyte = 1u << 20;

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
        for (const uint32_t options : {0x00u, 0x04u, 0x10u, 0x14u}) {
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
