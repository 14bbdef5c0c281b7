// SPDX-License-Identifier: MIT
// When the packets of one PID came, in seconds from the first packet of the stream on.
#pragma once

#include <memory>

#include "survey/records/indicators.h"
#include "survey/time/extremes.h"
#include "survey/time/pcr.h"

namespace zv::survey {

// Measures how long something has not come that must come again within a limit.
struct Wait {
    bool running = false;
    bool told = false;  // that the limit has passed
    double since_s = 0;

    // From here on.
    void begin(double now_s) { *this = {true, false, now_s}; }
    void end() { running = false; }

    // -> true when the limit has passed by now; once for each wait
    bool is_over(double limit_s, double now_s) {
        if (!running || told || now_s - since_s <= limit_s + rounding_s(now_s)) return false;
        return told = true;
    }
};

struct PidTiming {
    double first_s = kNoTime;
    double last_s = kNoTime;
    double section_begin_s = kNoTime;  // of the section that is being gathered

    double last_pcr_s = kNoTime;
    std::unique_ptr<PcrLine> pcr_line;  // there once a PCR came
    bool in_run = false;                // a PCR came since packets were lost last
    Extremes deviations_ns;             // of PCRs from their line

    double last_pts_s = kNoTime;
    Extremes pts_intervals_s;
    Extremes ahead_s;      // of time stamps over the PCR
    bool pts_due = false;  // a table in force asks for PTS
    Wait pts;

    Wait presence;
    bool named = false;     // by a table in force
    bool reported = false;  // as unreferenced
    double unnamed_since_s = 0;
};

}  // namespace zv::survey
