// SPDX-License-Identifier: MIT
// Implementation of live_view.h.
#include "commands/parts/live_view.h"

namespace zvprobe {

bool LiveView::go_on(const ZvSurvey* survey) {
    if (!ticker_.due()) return true;
    if (!screen_) screen_ = open_screen();
    if (!screen_) return true;
    bool any = false;
    if (!read_keys(any)) return false;
    const auto now = Clock::now();
    if (any || now >= next_picture_) draw(survey, now);
    return true;
}

bool LiveView::read_keys(bool& any) {
    constexpr int kMost = 100;  // pasted text must not hold up the stream
    Key key{};
    for (int i = 0; i < kMost && screen_->next_key(key); ++i) {
        any = true;
        if (key == Key::kQuit) return false;
        if (key == Key::kReset) meter_.reset();
        state_.press(key);
    }
    return true;
}

// A frozen picture stays, and counting goes on.
void LiveView::draw(const ZvSurvey* survey, Clock::time_point now) {
    next_picture_ = now + kPicture;
    StreamSnapshot latest =
        meter_.look(survey, std::chrono::duration<double>(now - begin_).count());
    if (!state_.frozen) shown_ = std::move(latest);
    screen_->draw(layout(shown_, state_, screen_->size()));
}

}  // namespace zvprobe
