// SPDX-License-Identifier: MIT
// Fixed inputs for instruction counting: scripts/instruction_counts.sh runs each under
// callgrind and counts what happens inside `counted`, which is the same on every run.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bitStream.h"
#include "flv.h"
#include "samples.h"
#include "synth_stream.h"
#include "tool_walks.h"
#include "zvlog.h"
#include "zvsurvey.h"

namespace {

using zvbench::Bytes;

constexpr size_t kStreamBytes = 4u << 20;
constexpr size_t kLargeChunk = 5000 * zvbench::kTsPacket;

unsigned parse(const Bytes& stream, size_t chunk) {
    void* context = nullptr;
    ffurl_mpegts_parser.init(&context, "count", nullptr);
    unsigned sum = 0;
    for (size_t at = 0; at + chunk <= stream.size(); at += chunk)
        sum += static_cast<unsigned>(ffurl_mpegts_parser.parse(
            context, stream.data() + at, static_cast<int>(chunk), zvbench::kAllChecks));
    ffurl_mpegts_parser.deinit(&context);
    return sum;
}

unsigned survey(const Bytes& stream) {
    ZvSurvey* const survey = zvsurvey_new(nullptr);
    zvsurvey_feed(survey, stream.data(), stream.size());
    zvsurvey_finish(survey);
    ZvSurveyTotals totals = {};
    zvsurvey_totals(survey, &totals, sizeof totals);
    zvsurvey_free(survey);
    return static_cast<unsigned>(totals.packets);
}

unsigned walk_flv(const Bytes& file) {
    FLVProbe probe = {};
    return zvbench::walk_flv(file, probe);
}

// The tool's own walks, where the tool is built.
unsigned probe_sample(const char* name) {
#ifdef ZV_COUNT_TOOL
    if (strcmp(name, "tool_flv") == 0) return zvbench::probe_flv_sample("h264-aac.flv");
    if (strcmp(name, "tool_mp3") == 0) return zvbench::probe_mpeg_audio_sample("mpeg1-layer3.mp3");
#endif
    fprintf(stderr, "no %s here\n", name);
    exit(1);
}

// Counting is switched on while this function runs.
[[gnu::noinline]] unsigned counted(const char* name, const Bytes& input) {
    if (strcmp(name, "thirty") == 0) return parse(input, zvbench::kDatagram);
    if (strcmp(name, "flv") == 0) return walk_flv(input);
    if (strcmp(name, "mp3") == 0) return zvbench::check_mpeg_audio(input);
    if (strncmp(name, "tool_", strlen("tool_")) == 0) return probe_sample(name);
    if (strncmp(name, "survey", strlen("survey")) == 0) return survey(input);
    return parse(input, kLargeChunk);
}

Bytes input_of(const char* name) {
    const bool is_sample = strcmp(name, "single") == 0 || strcmp(name, "survey_single") == 0;
    if (is_sample) return zvbench::repeat_sample("single.ts", kStreamBytes);
    if (strcmp(name, "one") == 0 || strcmp(name, "survey") == 0)
        return zvbench::make_stream({}, kStreamBytes).bytes;
    if (strcmp(name, "thirty") == 0)
        return zvbench::make_stream({.programs = 30, .streams = 4}, kStreamBytes).bytes;
    return zvbench::load_sample(strcmp(name, "flv") == 0 ? "h264-aac.flv" : "mpeg1-layer3.mp3");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr,
                "usage: %s one|thirty|single|survey|survey_single|flv|mp3|tool_flv|tool_mp3\n",
                argv[0]);
        return 2;
    }
    zvlog_api_setLoglevel(0);
    const Bytes input = input_of(argv[1]);
    printf("%u\n", counted(argv[1], input));
    return 0;
}
