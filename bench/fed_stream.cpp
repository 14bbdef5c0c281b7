// SPDX-License-Identifier: MIT
// Implementation of fed_stream.h.
#include "fed_stream.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "samples.h"
#include "zvlog.h"

namespace zvbench {
namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

SynthStream make(const ParseCase& test) {
    if (test.sample == nullptr) return make_stream(test.shape, test.bytes);
    SynthStream stream;
    stream.bytes = repeat_sample(test.sample, test.bytes);
    stream.packets = stream.bytes.size() / kTsPacket;
    return stream;
}

}  // namespace

SynthStream& stream_of(const ParseCase& test) {
    static std::string kept_name;
    static SynthStream kept;
    if (kept_name != test.name) {
        kept = {};
        kept = make(test);
        kept_name = test.name;
    }
    return kept;
}

double touch(const SynthStream& stream, int packet_size) {
    const auto start = Clock::now();
    unsigned sum = 0;
    for (size_t at = 0; at < stream.bytes.size(); at += static_cast<size_t>(packet_size))
        sum += stream.bytes[at];
    benchmark::DoNotOptimize(sum);
    return seconds_since(start);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

FedStream::FedStream(const ParseCase& test, const SynthStream& stream)
    : test_(test), stream_(stream) {
    zvlog_api_setLoglevel(1);
    prove();
    ffurl_mpegts_parser.init(&context_, "bench", nullptr);
}

FedStream::~FedStream() {
    ffurl_mpegts_parser.deinit(&context_);
}

double FedStream::parse(uint32_t options) {
    const auto start = Clock::now();
    feed(context_, test_.chunk_bytes, options);
    return seconds_since(start);
}

void FedStream::feed(void* context, size_t chunk_bytes, uint32_t options) const {
    const auto packet = static_cast<size_t>(test_.shape.packet_size);
    const size_t whole = std::min<size_t>(stream_.bytes.size(), 1u << 30);
    const size_t chunk = chunk_bytes == 0 ? whole : std::max(packet, chunk_bytes / packet * packet);
    for (size_t at = 0; at < whole; at += chunk) {
        const auto size = static_cast<int>(std::min(chunk, whole - at));
        ffurl_mpegts_parser.parse(context, stream_.bytes.data() + at, size, options);
    }
}

void FedStream::prove() const {
    void* context = nullptr;
    ffurl_mpegts_parser.init(&context, "proof", nullptr);
    feed(context, 0, ZV_TS_CHECK_CC);
    auto info = std::make_unique<StreamInfo>();
    size_t errors = 0;
    if (ffurl_mpegts_parser.updateInfo(context, info.get()) == 1) {
        for (int p = 0; p < info->program_count; ++p)
            for (int s = 0; s < info->programs[p].es_count; ++s)
                errors += info->programs[p].streams[s].cc_state.errnum;
    }
    ffurl_mpegts_parser.deinit(&context);
    const bool as_planned = test_.sample != nullptr || errors == stream_.losses;
    if (info->program_count == test_.shape.programs && as_planned) return;
    fprintf(stderr, "%s: %d programmes, %zu continuity errors instead of %zu\n", test_.name,
            info->program_count, errors, stream_.losses);
    exit(1);
}

}  // namespace zvbench
