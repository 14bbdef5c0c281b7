// SPDX-License-Identifier: MIT
// Implementation of event_lines.h.
#include "watch/event_lines.h"

#include "base/texts.h"
#include "render/progress.h"

namespace zvprobe {

bool EventLines::next(Time now) {
    if (now - minute_begin_ >= std::chrono::minutes(1)) {
        const uint64_t untold = in_minute_ > kMostPerMinute ? in_minute_ - kMostPerMinute : 0;
        if (untold > 0) say(counted(untold, "line", "lines") + " left out in a minute");
        minute_begin_ = now;
        in_minute_ = 0;
    }
    return ++in_minute_ <= kMostPerMinute;
}

void EventLines::say(const std::string& text) const {
    complain(name_, text);
}

}  // namespace zvprobe
