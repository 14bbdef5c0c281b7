// SPDX-License-Identifier: MIT
// Measures how long something has not come that must come again within a limit.
#pragma once

namespace zv::survey {

struct Wait {
    bool running = false;
    bool told = false;  // that the limit has passed
    double since_s = 0;

    // From here on.
    void begin(double now_s) { *this = {true, false, now_s}; }
    void end() { running = false; }

    // -> true when the limit has passed by now; once for each wait
    bool is_over(double limit_s, double now_s) {
        if (!running || told || now_s - since_s <= limit_s + kRounding) return false;
        return told = true;
    }

    // Times are worked out in doubles from 27 MHz ticks: a gap as long as its limit is no error.
    static constexpr double kRounding = 1e-9;
};

}  // namespace zv::survey
