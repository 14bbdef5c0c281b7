// SPDX-License-Identifier: MIT
#include "support/manual_clock.h"

#include <unistd.h>

#include "zvcommon.h"

namespace zvtest {
namespace {

struct Time {
    uint64_t now = 0;
    uint64_t per_reading = 0;
    int readings = 0;
    std::vector<uint64_t> sleeps;
};

Time& time_of_test() {
    static Time it;
    return it;
}

void sleep_for(uint64_t us) {
    time_of_test().sleeps.push_back(us);
    time_of_test().now += us;
}

}  // namespace

ManualClock::ManualClock(uint64_t now_us) {
    time_of_test().now = now_us;
}
ManualClock::~ManualClock() {
    time_of_test() = Time{};
}
void ManualClock::advance(uint64_t us) {
    time_of_test().now += us;
}
void ManualClock::advance_per_reading(uint64_t us) {
    time_of_test().per_reading = us;
}
uint64_t ManualClock::now() const {
    return time_of_test().now;
}
int ManualClock::readings() const {
    return time_of_test().readings;
}
const std::vector<uint64_t>& ManualClock::sleeps() const {
    return time_of_test().sleeps;
}

}  // namespace zvtest

extern "C" {

uint64_t zvtime_api_upUs(void) {
    zvtest::Time& time = zvtest::time_of_test();
    const uint64_t now = time.now;
    time.now += time.per_reading;
    time.readings += 1;
    return now;
}

int usleep(useconds_t us) {
    zvtest::sleep_for(us);
    return 0;
}

unsigned sleep(unsigned seconds) {
    zvtest::sleep_for(uint64_t{seconds} * 1'000'000);
    return 0;
}

}  // extern "C"
