// SPDX-License-Identifier: MIT
// Stream time in equal steps, never more than 600 of them: when they run out, two become one. So the
// picture of a second and that of a year take the same room.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "survey/time/clock.h"

namespace zv::survey {

class StepGrid {
  public:
    static constexpr size_t kMostSteps = 600;
    static constexpr double kFirstStep = 0.1;  // seconds

    size_t steps() const { return steps_; }
    double step_s() const { return std::ldexp(kFirstStep, static_cast<int>(doublings_)); }

    // -> the step of a time, which may be beyond the last; step 0 for times before the first packet
    uint64_t step_of(double time_s) const {
        constexpr double kMost = 0x1p62;
        // what is at a step's beginning is in it
        const double first_steps = (time_s + rounding_s(time_s)) / kFirstStep;
        if (!(first_steps > 0)) return 0;
        return static_cast<uint64_t>(std::fmin(first_steps, kMost)) >> doublings_;
    }

    // Time has come that far. merge() is called whenever two steps become one.
    // -> the step of that time
    template <typename Merge>
    size_t reach(double time_s, Merge merge) {
        uint64_t reached = step_of(time_s);
        for (; reached >= kMostSteps; reached /= 2) {
            ++doublings_;
            steps_ = (steps_ + 1) / 2;
            merge();
        }
        const auto step = static_cast<size_t>(reached);
        if (steps_ <= step) steps_ = step + 1;
        return step;
    }

  private:
    size_t steps_ = 0;
    unsigned doublings_ = 0;
};

}  // namespace zv::survey
