// SPDX-License-Identifier: MIT
// Implementation of backoff.h.
#include "watch/backoff.h"

#include <algorithm>

namespace zvprobe {

Backoff::Duration Backoff::next() {
    std::uniform_int_distribution<Duration::rep> chance(grown_.count() / 2, grown_.count());
    const Duration wait(chance(random_));
    grown_ = std::min(grown_ * 2, kMost);
    return std::max(wait, kLeast);
}

}  // namespace zvprobe
