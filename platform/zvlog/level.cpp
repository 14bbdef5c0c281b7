// SPDX-License-Identifier: MIT
// The state every log call looks at first: threshold, level names, tag filter and the switches.
// Only the threshold is guarded; the others are the host's to set before its threads log.

#include <algorithm>
#include <atomic>
#include <iterator>

#include "zvlog.h"

namespace {

constexpr unsigned kLevelAtStart = 2;

std::atomic<unsigned> level{kLevelAtStart};

}  // namespace

extern "C" {

const char* strLoglevel_simple[] = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "VERBOSE", "TRACE"};
char strfilterTags[256] = "";
unsigned char flag_printLineFunc = 0;
unsigned char flag_stdPrint = 0;

unsigned zvlog_api_getLoglevel(void) {
    return level.load(std::memory_order_relaxed);
}

void zvlog_api_setLoglevel(unsigned new_level) {
    constexpr auto kHighest = static_cast<unsigned>(std::size(strLoglevel_simple) - 1);
    level.store(std::min(new_level, kHighest), std::memory_order_relaxed);
}

}  // extern "C"
