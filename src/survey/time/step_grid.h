// SPDX-License-Identifier: MIT
// Stream time in equal steps, never more than 600 of them: when they run out, two become one. So the
// picture of a second and that of a year take the same room. Where only the latest time is wanted,
// steps stop growing once they are long enough for it, and the oldest are dropped instead.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "survey/time/clock.h"

namespace zv::survey {

class StepGrid {
  public:
    static constexpr size_t kMostSteps = 600;
    static constexpr double kFirstStep = 0.1;  // seconds
    static constexpr uint64_t kFirstStepsPerSecond = 10;

    // So many are dropped at once, for then every value of a row moves.
    static constexpr size_t kDroppedAtOnce = kMostSteps / 10;

    // span_s  in  the latest time that is wanted; 0: all of it
    explicit StepGrid(uint32_t span_s) : span_s_(span_s) {}

    // From the first one that is kept to the latest.
    size_t steps() const { return steps_; }
    double step_s() const { return std::ldexp(kFirstStep, static_cast<int>(doublings_)); }
    double start_s() const {
        // a whole number, whose double is exact
        const uint64_t seconds_of_first_steps = dropped_ / kFirstStepsPerSecond;
        return std::ldexp(static_cast<double>(seconds_of_first_steps),
                          static_cast<int>(doublings_));
    }

    // -> how many steps before the first one that is kept were dropped
    uint64_t dropped() const { return dropped_; }

    // -> the step of a time, dropped ones included, which may be beyond the last; step 0 for times
    //    before the first packet
    uint64_t step_of(double time_s) const {
        constexpr double kMost = 0x1p62;
        // what is at a step's beginning is in it
        const double first_steps = (time_s + rounding_s(time_s)) / kFirstStep;
        if (!(first_steps > 0)) return 0;
        return static_cast<uint64_t>(std::fmin(first_steps, kMost)) >> doublings_;
    }

    // Time has come that far. merge() is called whenever two steps become one, drop(count) when so
    // many are dropped, which may be more than there are.
    // -> the step of that time, from the first one that is kept; nothing when it was dropped
    template <typename Merge, typename Drop>
    std::optional<size_t> reach(double time_s, Merge merge, Drop drop) {
        uint64_t reached = step_of(time_s);
        if (reached - dropped_ >= kMostSteps) {  // or before, which is far beyond as well
            if (reached < dropped_) return std::nullopt;
            reached = make_room(reached, merge, drop);
        }
        const auto step = static_cast<size_t>(reached - dropped_);
        if (steps_ <= step) steps_ = step + 1;
        return step;
    }

  private:
    // -> true when the steps that are left after the oldest were dropped are as long as the span
    bool long_enough() const {
        const uint64_t left = uint64_t{kMostSteps - kDroppedAtOnce} << doublings_;
        return span_s_ > 0 && left >= span_s_ * kFirstStepsPerSecond;
    }

    // -> the number that the step has then
    template <typename Merge, typename Drop>
    [[gnu::noinline]] uint64_t make_room(uint64_t reached, Merge merge, Drop drop) {
        // Nothing was dropped as long as steps double.
        for (; reached - dropped_ >= kMostSteps && !long_enough(); reached /= 2) {
            ++doublings_;
            steps_ = (steps_ + 1) / 2;
            merge();
        }
        if (reached - dropped_ >= kMostSteps) drop(drop_before(reached));
        return reached;
    }

    // However far ahead the step is. -> how many were dropped
    uint64_t drop_before(uint64_t reached) {
        const uint64_t lacking = reached - dropped_ - (kMostSteps - 1);
        const uint64_t count = (lacking + kDroppedAtOnce - 1) / kDroppedAtOnce * kDroppedAtOnce;
        dropped_ += count;
        steps_ -= static_cast<size_t>(std::min<uint64_t>(count, steps_));
        return count;
    }

    uint32_t span_s_;
    size_t steps_ = 0;
    unsigned doublings_ = 0;
    uint64_t dropped_ = 0;
};

static_assert(StepGrid::kDroppedAtOnce % StepGrid::kFirstStepsPerSecond == 0);

}  // namespace zv::survey
