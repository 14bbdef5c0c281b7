// SPDX-License-Identifier: MIT
// The monotonic clock.

#include <ctime>

#include "zvcommon.h"

extern "C" uint64_t zvtime_api_upUs(void) {
    constexpr uint64_t kMicrosecondsPerSecond = 1'000'000;
    constexpr uint64_t kNanosecondsPerMicrosecond = 1'000;
    std::timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * kMicrosecondsPerSecond +
           static_cast<uint64_t>(now.tv_nsec) / kNanosecondsPerMicrosecond;
}
