// SPDX-License-Identifier: MIT
// Implementation of event_lines.h.
#include "watch/event_lines.h"

#include "base/texts.h"
#include "render/progress.h"

namespace zvprobe {

bool EventLines::next(Time now) {
    tick(now);
    if (in_minute_ == 0) minute_begin_ = now;
    return ++in_minute_ <= kMostPerMinute;
}

void EventLines::tick(Time now) {
    if (in_minute_ > 0 && now - minute_begin_ >= std::chrono::minutes(1)) finish();
}

void EventLines::finish() {
    const uint64_t untold = in_minute_ > kMostPerMinute ? in_minute_ - kMostPerMinute : 0;
    if (untold > 0)
        say(counted(untold, what_, more_of_them_) + " left out in a minute", Gravity::kWarning);
    in_minute_ = 0;
}

void EventLines::say(const std::string& text, Gravity gravity) const {
    wipe_progress();
    log_line(gravity, name_ + ": " + text);
}

}  // namespace zvprobe
