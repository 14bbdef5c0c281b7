// SPDX-License-Identifier: MIT
// The message entry point of hosts that have none of their own. Alone in its file and weak, so that
// a host's definition takes its place in static and in shared builds.

#include <climits>
#include <cstdarg>
#include <cstdio>

#include "zvlog.h"
#include "zvlog/formatted_text.h"

namespace {

struct LevelStep {
    int up_to;       // the caller's level, the smaller the graver
    unsigned level;  // ours
};

constexpr LevelStep kLevels[] = {{16, 1}, {24, 2}, {32, 3}, {40, 4}, {48, 5}, {INT_MAX, 6}};

unsigned map_level(int level) {
    const LevelStep* step = kLevels;
    while (level > step->up_to)
        ++step;
    return step->level;
}

}  // namespace

extern "C" __attribute__((weak)) void av_log(void* /*context*/, int level, const char* format,
                                             ...) {
    const unsigned mapped = map_level(level);
    if (format == nullptr || mapped > zvlog_api_getLoglevel()) return;
    va_list arguments;
    va_start(arguments, format);
    const zvlog::FormattedText message(format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%s[%s]%s", zvlog_innerapi_logTime(), strLoglevel_simple[mapped],
                 message.text());
}
