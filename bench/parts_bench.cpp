// SPDX-License-Identifier: MIT
// Everything beside the parse loop: remapping, learning the tables, reports, CRC, the FLV and MPEG
// audio walks, and many contexts fed in turn.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "bitStream.h"
#include "flv.h"
#include "mpegts.h"
#include "samples.h"
#include "synth_stream.h"
#include "zvcommon.h"
#include "zvlog.h"

namespace {

using namespace zvbench;

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

void feed_datagram(void* context, const SynthStream& stream, size_t at) {
    ffurl_mpegts_parser.parse(context, stream.bytes.data() + at, static_cast<int>(kDatagram),
                              kAllChecks);
}

void per_packet(benchmark::State& state, double packets) {
    state.counters["packets"] = benchmark::Counter(packets, benchmark::Counter::kIsRate);
    state.counters["s_packet"] =
        benchmark::Counter(packets, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One context a stream, a datagram each in turn: what a server of many streams does.
void BM_ContextsInTurn(benchmark::State& state) {
    const auto stream = make_stream({}, 1u << 20);
    const Contexts contexts(static_cast<size_t>(state.range(0)));
    size_t at = 0;
    size_t packets = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < contexts.size(); ++i)
            feed_datagram(contexts[i], stream, at);
        at = at + 2 * kDatagram <= stream.bytes.size() ? at + kDatagram : 0;
        packets += kDatagram / kTsPacket * contexts.size();
    }
    per_packet(state, static_cast<double>(packets));
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
    const auto stream = make_stream({.programs = programs, .streams = 4}, 1u << 16);
    StreamInfo info;
    for (auto _ : state) {
        const Contexts one(1);
        int known = -1;
        for (size_t at = 0; known != 1 && at + kDatagram <= stream.bytes.size(); at += kDatagram) {
            feed_datagram(one[0], stream, at);
            known = ffurl_mpegts_parser.updateInfo(one[0], &info);
        }
        if (known != 1) state.SkipWithError("tables stayed unknown");
    }
}
BENCHMARK(BM_LearnTables)->Arg(1)->Arg(30);

void BM_UpdateAndReport(benchmark::State& state) {
    const auto stream = make_stream({}, 1u << 16);
    const Contexts one(1);
    auto info = std::make_unique<StreamInfo>();
    std::vector<char> text(size_t{16} * 1024);
    ffurl_mpegts_parser.parse(one[0], stream.bytes.data(), static_cast<int>(stream.bytes.size()),
                              ZV_TS_CHECK_CC);
    for (auto _ : state) {
        ffurl_mpegts_parser.parse(one[0], stream.bytes.data(), kTsPacket, 0);  // a PAT: news
        text[0] = '\0';
        if (ffurl_mpegts_parser.updateInfo(one[0], info.get()) != 1 ||
            mpegts_api_getStreamInfo(info.get(), text.data(), 1) != 1)
            state.SkipWithError("no report");
    }
}
BENCHMARK(BM_UpdateAndReport);

// With the tables learnt beforehand, as a host does. Every pass gets a copy of the stream: there is
// nothing left to rewrite in a remapped one.
void BM_Remap(benchmark::State& state) {
    constexpr uint16_t kNewPid = 0x1100;
    const RemapTarget target = {7, 0x1F00, kNewPid, {kNewPid, kNewPid + 1, 0, 0}};
    const auto stream = make_stream({}, 1u << 20);
    const Contexts one(1);
    feed_datagram(one[0], stream, 0);
    Bytes copy;
    for (auto _ : state) {
        state.PauseTiming();
        copy = stream.bytes;
        state.ResumeTiming();
        benchmark::DoNotOptimize(mpegts_api_remap(&target, static_cast<MPEGTSContext*>(one[0]),
                                                  copy.data(), static_cast<int>(copy.size())));
    }
    const uint8_t* const packet = &copy[1000 * kTsPacket];
    if ((packet[1] & 0x1F) != kNewPid >> 8) state.SkipWithError("not remapped");
    per_packet(state,
               static_cast<double>(state.iterations() * static_cast<int64_t>(stream.packets)));
}
BENCHMARK(BM_Remap);

void BM_Crc32(benchmark::State& state) {
    const Bytes bytes(static_cast<size_t>(state.range(0)), 0x5A);
    for (auto _ : state)
        benchmark::DoNotOptimize(zvcrc_api_CRC32(bytes.data(), static_cast<int>(bytes.size())));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_Crc32)->Arg(20)->Arg(180)->Arg(1024)->Arg(1 << 20);

void BM_FlvWalk(benchmark::State& state) {
    const Bytes file = load_sample("h264-aac.flv");
    double tags = 0;
    for (auto _ : state) {
        FLVProbe probe = {};
        tags += walk_flv(file, probe);
        if (!probe.hasaudio || !probe.hasvideo) state.SkipWithError("wrong answer");
    }
    state.counters["s_tag"] =
        benchmark::Counter(tags, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_FlvWalk);

void BM_Mp3Headers(benchmark::State& state) {
    const Bytes file = load_sample("mpeg1-layer3.mp3");
    double bytes = 0;
    zvlog_api_setLoglevel(0);
    for (auto _ : state) {
        if (check_mpeg_audio(file) == 0) state.SkipWithError("wrong answer");
        bytes += static_cast<double>(file.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Mp3Headers);

}  // namespace
