// SPDX-License-Identifier: MIT
// Four fixed inputs for instruction counting: scripts/instruction_counts.sh runs each under callgrind
// and counts what happens inside `counted`, which is the same on every run.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bitStream.h"
#include "flv.h"
#include "mp3.h"
#include "mpegts.h"
#include "synth_stream.h"
#include "zvlog.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kStreamBytes = 4u << 20;
constexpr int kDatagram = 7 * 188;
constexpr int kLargeChunk = 5000 * 188;

Bytes load(const char* name) {
    std::ifstream file(std::string(ZV_BENCH_MEDIA "/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

unsigned parse(const Bytes& stream, int chunk) {
    void* context = nullptr;
    ffurl_mpegts_parser.init(&context, "count", nullptr);
    unsigned sum = 0;
    for (size_t at = 0; at + static_cast<size_t>(chunk) <= stream.size();
         at += static_cast<size_t>(chunk))
        sum += static_cast<unsigned>(
            ffurl_mpegts_parser.parse(context, stream.data() + at, chunk, 0x14));
    ffurl_mpegts_parser.deinit(&context);
    return sum;
}

unsigned walk_flv(const Bytes& file) {
    FLVProbe probe = {};
    unsigned sum = 0;
    for (size_t at = 13; at + 15 <= file.size();) {
        const size_t size = ((file[at + 1] << 16) | (file[at + 2] << 8) | file[at + 3]) + 15u;
        probe.keyframe = 0;  // keeps the probe looking
        sum += static_cast<unsigned>(flv_api_check(
            &probe, &file[at], static_cast<uint32_t>(std::min(size, file.size() - at))));
        at += size;
    }
    return sum;
}

unsigned check_audio(const Bytes& file) {
    MP3HeaderInfo info = {};
    unsigned sum = 0;
    for (size_t at = 0; at + 4 <= file.size(); ++at)
        sum += mp3_api_check(&info, &file[at], 4);
    return sum;
}

// Counting is switched on while this function runs.
[[gnu::noinline]] unsigned counted(const char* name, const Bytes& input) {
    if (strcmp(name, "one") == 0) return parse(input, kLargeChunk);
    if (strcmp(name, "thirty") == 0) return parse(input, kDatagram);
    if (strcmp(name, "flv") == 0) return walk_flv(input);
    return check_audio(input);
}

Bytes input_of(const char* name) {
    if (strcmp(name, "one") == 0) return zvbench::make_stream({}, kStreamBytes).bytes;
    if (strcmp(name, "thirty") == 0)
        return zvbench::make_stream({.programs = 30, .streams = 4}, kStreamBytes).bytes;
    return load(strcmp(name, "flv") == 0 ? "h264-aac.flv" : "mpeg1-layer3.mp3");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s one|thirty|flv|mp3\n", argv[0]);
        return 2;
    }
    zvlog_api_setLoglevel(0);
    const Bytes input = input_of(argv[1]);
    if (input.empty()) return 1;
    printf("%u\n", counted(argv[1], input));
    return 0;
}
