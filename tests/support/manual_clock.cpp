// SPDX-License-Identifier: MIT
#include "support/manual_clock.h"

#include <unistd.h>

#include <utility>

#include "zvcommon.h"

namespace zvtest {
namespace {
ManualClock* living;
}

ManualClock::ManualClock(uint64_t now_us) : now(now_us) {
    living = this;
}
ManualClock::~ManualClock() {
    living = nullptr;
}
void ManualClock::sleep(uint64_t us) {
    sleeps.push_back(us);
    now += us;
}

}  // namespace zvtest

using zvtest::living;

extern "C" {

uint64_t zvtime_api_upUs(void) {
    if (living == nullptr) return 0;
    living->readings += 1;
    return std::exchange(living->now, living->now + living->per_reading);
}

int usleep(useconds_t us) {
    if (living != nullptr) living->sleep(us);
    return 0;
}

unsigned sleep(unsigned seconds) {
    if (living != nullptr) living->sleep(uint64_t{seconds} * 1'000'000);
    return 0;
}

}  // extern "C"
