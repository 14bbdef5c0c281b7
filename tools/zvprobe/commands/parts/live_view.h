// SPDX-License-Identifier: MIT
// A stream on the screen while it is read: looks at the survey now and then, draws, and does what keys
// ask for.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "commands/parts/ticker.h"
#include "render/screen/screen.h"
#include "ts/stream_meter.h"
#include "zvsurvey.h"

namespace zvprobe {

class LiveView {
  public:
    // How soon a key is noticed while nothing comes; pictures are fewer.
    static constexpr std::chrono::microseconds kTick{50'000};

    // name: of the source; live: its bytes come in their own time, unlike those of a file
    // The screen opens with the first picture: what ends at once needs none.
    // ticker: of kTick
    LiveView(const std::string& name, bool live, Ticker& ticker)
        : meter_(name, live), ticker_(ticker) {}

    void add(const ZvSurveyEvent& event) { meter_.add(event); }

    // To be called after each read, also when nothing came.
    // -> false when the person at the screen has seen enough
    bool go_on(const ZvSurvey* survey);

  private:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds kPicture{200};

    // -> false when one asks for the end
    bool read_keys(bool& any);
    void draw(const ZvSurvey* survey, Clock::time_point now);

    StreamMeter meter_;
    ViewState state_;
    StreamSnapshot shown_;
    Ticker& ticker_;
    Clock::time_point begin_ = Clock::now();
    Clock::time_point next_picture_ = begin_;
    std::unique_ptr<Screen> screen_;
};

}  // namespace zvprobe
