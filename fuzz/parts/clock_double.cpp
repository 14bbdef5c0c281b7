// SPDX-License-Identifier: MIT
#include "parts/clock_double.h"

#include <unistd.h>

#include <cstdint>

#include "parts/input.h"
#include "zvcommon.h"

namespace {

constexpr uint64_t kStart = 1'000'000;
constexpr uint64_t kPerReading = 97;
constexpr uint64_t kLongestPause = 2'000'000;  // the library promises to sleep no longer

uint64_t now_us = kStart;

}  // namespace

void fuzz::reset_clock() {
    now_us = kStart;
}

extern "C" {

uint64_t zvtime_api_upUs(void) {
    return now_us += kPerReading;
}

int usleep(useconds_t us) {
    fuzz::require(us > 0 && us < kLongestPause, "pacing sleeps less than two seconds");
    now_us += us;
    return 0;
}

}  // extern "C"
