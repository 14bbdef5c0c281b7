// SPDX-License-Identifier: MIT
// Turns the records of a survey into snapshots of a watch: rates and errors of the last seconds, and
// errors since counting began. Its memory is bounded by the number of PIDs.
#pragma once

#include <array>
#include <deque>
#include <string>
#include <vector>

#include "ts/stream_snapshot.h"
#include "zvsurvey.h"

namespace zvprobe {

class StreamMeter {
  public:
    // The last interval is so long, or as long as the watch.
    static constexpr double kInterval_s = 5;

    // live: rates are those at which packets come; otherwise those of the whole stream's own clock
    StreamMeter(std::string name, bool live) : name_(std::move(name)), live_(live) {}

    void add(const ZvSurveyEvent& event);

    // Counting begins anew: with what the next look finds, and without the events so far.
    void reset();

    // Looks at the survey, several times a second.
    // now_s: seconds since the watch began, not less than before
    // Throws std::bad_alloc.
    StreamSnapshot look(const ZvSurvey* survey, double now_s);

  private:
    struct PidCount {
        uint16_t pid;
        uint64_t packets;
        uint64_t errors;
    };
    struct Sample {
        double at_s = 0;
        uint64_t bytes = 0;
        uint64_t packets = 0;
        std::array<uint64_t, 6> faults = {};
        std::vector<uint64_t> indicators;
        std::vector<PidCount> pids;  // ascending
    };

    Sample sample_of(const ZvSurvey* survey, double now_s) const;
    void keep(const Sample& sample);
    void fill_totals(const ZvSurvey* survey, const Sample& now, StreamSnapshot& out) const;
    void fill_indicators(const ZvSurvey* survey, const Sample& now, StreamSnapshot& out) const;
    void fill_pids(const ZvSurvey* survey, const Sample& now, StreamSnapshot& out) const;
    void fill_services(const ZvSurvey* survey, StreamSnapshot& out) const;
    PidSnapshot snapshot_of(const ZvSurveyPid& pid, const PidCount& now, double seconds,
                            uint64_t packets) const;
    static const PidCount& count_in(const Sample& sample, uint16_t pid);

    std::string name_;
    bool live_;
    bool begin_anew_ = true;
    Sample base_;                 // where counting began
    std::deque<Sample> samples_;  // the first one is where the last interval begins
    uint64_t last_bytes_ = 0;
    double last_bytes_s_ = 0;
    std::deque<EventSnapshot> events_;  // latest first
};

}  // namespace zvprobe
