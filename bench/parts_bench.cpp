// SPDX-License-Identifier: MIT
// Everything beside the parse loop: remapping, learning the tables, reports, CRC, the FLV and MPEG
// audio walks, and many contexts fed in turn.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bitStream.h"
#include "flv.h"
#include "mp3.h"
#include "mpegts.h"
#include "synth_stream.h"
#include "zvcommon.h"
#include "zvlog.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kDatagram = 7 * 188;

Bytes load(const char* name) {
    std::ifstream file(std::string(ZV_BENCH_MEDIA "/") + name, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.empty()) {
        fprintf(stderr, "sample %s is missing\n", name);
        exit(1);
    }
    return bytes;
}

// Contexts of the resolver, freed together.
class Contexts {
  public:
    explicit Contexts(size_t count) : contexts_(count) {
        for (void*& context : contexts_)
            ffurl_mpegts_parser.init(&context, "bench", nullptr);
    }
    ~Contexts() {
        for (void*& context : contexts_)
            ffurl_mpegts_parser.deinit(&context);
    }
    Contexts(const Contexts&) = delete;
    Contexts& operator=(const Contexts&) = delete;
    void* operator[](size_t index) const { return contexts_[index]; }
    size_t size() const { return contexts_.size(); }

  private:
    std::vector<void*> contexts_;
};

void per_packet(benchmark::State& state, double packets) {
    state.counters["packets"] = benchmark::Counter(packets, benchmark::Counter::kIsRate);
    state.counters["s_packet"] =
        benchmark::Counter(packets, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One context a stream, a datagram each in turn: what a server of many streams does.
void BM_ContextsInTurn(benchmark::State& state) {
    const auto stream = zvbench::make_stream({}, 1u << 20);
    const Contexts contexts(static_cast<size_t>(state.range(0)));
    size_t at = 0;
    double packets = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < contexts.size(); ++i)
            ffurl_mpegts_parser.parse(contexts[i], stream.bytes.data() + at, kDatagram, 0x14);
        at = at + 2 * kDatagram <= stream.bytes.size() ? at + kDatagram : 0;
        packets += 7.0 * static_cast<double>(contexts.size());
    }
    per_packet(state, packets);
}
BENCHMARK(BM_ContextsInTurn)->Arg(1)->Arg(1000);

void BM_ContextStartUp(benchmark::State& state) {
    for (auto _ : state)
        Contexts one(1);
}
BENCHMARK(BM_ContextStartUp);

// From the first packet until every table is known.
void BM_LearnTables(benchmark::State& state) {
    const auto programs = static_cast<int>(state.range(0));
    const auto stream = zvbench::make_stream({.programs = programs, .streams = 4}, 1u << 16);
    StreamInfo info;
    for (auto _ : state) {
        const Contexts one(1);
        int known = -1;
        for (size_t at = 0; known != 1 && at + kDatagram <= stream.bytes.size(); at += kDatagram) {
            ffurl_mpegts_parser.parse(one[0], stream.bytes.data() + at, kDatagram, 0x14);
            known = ffurl_mpegts_parser.updateInfo(one[0], &info);
        }
        if (known != 1) state.SkipWithError("tables stayed unknown");
    }
}
BENCHMARK(BM_LearnTables)->Arg(1)->Arg(30);

void BM_UpdateAndReport(benchmark::State& state) {
    const auto stream = zvbench::make_stream({}, 1u << 16);
    const Contexts one(1);
    auto info = std::make_unique<StreamInfo>();
    std::vector<char> text(16 * 1024);
    ffurl_mpegts_parser.parse(one[0], stream.bytes.data(), static_cast<int>(stream.bytes.size()),
                              4);
    for (auto _ : state) {
        ffurl_mpegts_parser.parse(one[0], stream.bytes.data(), 188, 0);  // a PAT: something new
        text[0] = '\0';
        if (ffurl_mpegts_parser.updateInfo(one[0], info.get()) != 1 ||
            mpegts_api_getStreamInfo(info.get(), text.data(), 1) != 1)
            state.SkipWithError("no report");
    }
}
BENCHMARK(BM_UpdateAndReport);

void BM_Remap(benchmark::State& state) {
    auto stream = zvbench::make_stream({}, static_cast<size_t>(state.range(0)));
    const RemapTarget target = {7, 0x300, 0x210, {0x210, 0x211, 0, 0}};
    const int size = static_cast<int>(stream.bytes.size());
    for (auto _ : state) {
        const Contexts one(1);
        benchmark::DoNotOptimize(mpegts_api_remap(&target, static_cast<MPEGTSContext*>(one[0]),
                                                  stream.bytes.data(), std::min(size, 1 << 20)));
    }
    per_packet(state, static_cast<double>(state.iterations()) * ((1 << 20) / 188));
}
BENCHMARK(BM_Remap)->Arg(1 << 20);

void BM_Crc32(benchmark::State& state) {
    const Bytes bytes(static_cast<size_t>(state.range(0)), 0x5A);
    for (auto _ : state)
        benchmark::DoNotOptimize(zvcrc_api_CRC32(bytes.data(), static_cast<int>(bytes.size())));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_Crc32)->Arg(20)->Arg(180)->Arg(1024)->Arg(1 << 20);

uint32_t be24(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 16) | (static_cast<uint32_t>(p[1]) << 8) | p[2];
}

// Offers every tag of a file to the probe, as a host that walks a file does.
void BM_FlvWalk(benchmark::State& state) {
    const Bytes file = load("h264-aac.flv");
    double tags = 0;
    for (auto _ : state) {
        FLVProbe probe = {};
        for (size_t at = 13; at + 15 <= file.size();) {
            const size_t size = be24(&file[at + 1]) + 15u;
            probe.keyframe = 0;  // keeps the probe looking
            flv_api_check(&probe, &file[at],
                          static_cast<uint32_t>(std::min(size, file.size() - at)));
            at += size;
            ++tags;
        }
        if (!probe.hasaudio || !probe.hasvideo) state.SkipWithError("wrong answer");
    }
    state.counters["s_tag"] =
        benchmark::Counter(tags, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_FlvWalk);

void BM_Mp3Headers(benchmark::State& state) {
    const Bytes file = load("mpeg1-layer3.mp3");
    double bytes = 0;
    zvlog_api_setLoglevel(0);
    for (auto _ : state) {
        MP3HeaderInfo info = {};
        unsigned found = 0;
        for (size_t at = 0; at + 4 <= file.size(); ++at)
            found += mp3_api_check(&info, &file[at], 4);
        if (found == 0) state.SkipWithError("wrong answer");
        bytes += static_cast<double>(file.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Mp3Headers);

}  // namespace
