// SPDX-License-Identifier: MIT
// Reads a transport stream to its end, or to a signal, and says what it found.
#pragma once

#include <functional>
#include <span>

#include "io/source.h"
#include "render/finding_log.h"
#include "ts/ts_report.h"

namespace zvprobe {

enum class Pace { kNone, kPcr, kPts };

struct TsProbeOptions {
    Pace pace = Pace::kNone;
    bool live = false;  // time is that of arrival, not the stream's own
    bool statistics = false;
    bool history = false;  // over the stream's time, in the survey's JSON
    ZvSurveyLimits limits = {};
    std::function<void(uint64_t bytes)> on_progress;  // called after each window

    // Gets every packet, when its time has come if paced.
    std::function<void(std::span<const uint8_t> packets, size_t packet_size)> on_packets;

    // Reports on the way: asked after each window whether one is due, and given it.
    std::function<bool()> is_report_due;
    std::function<void(TsReport)> on_report;

    // Each may be empty. Gets every event as it is found.
    std::function<void(const ZvSurveyEvent& event)> on_event;

    // Called after each window, also when it has no new bytes; -> false to end the reading there.
    std::function<bool(const ZvSurvey* survey)> on_window;
};

// findings      are told what happens; their source's name stands in log lines
// first_window  what source.next(0) gave, in which a transport stream was found
TsReport probe_transport_stream(const FindingLog& findings, Source& source,
                                std::span<const uint8_t> first_window,
                                const TsProbeOptions& options);

}  // namespace zvprobe
