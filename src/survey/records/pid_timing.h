// SPDX-License-Identifier: MIT
// When the packets of one PID came, in seconds from the first packet of the stream on.
#pragma once

#include <memory>

#include "survey/records/indicators.h"
#include "survey/time/extremes.h"
#include "survey/time/pcr.h"
#include "survey/time/wait.h"

namespace zv::survey {

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
