// SPDX-License-Identifier: MIT
// The survey library at work on one source: bytes in, events and packets out as they are found, JSON
// and figures at any time.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/json.h"
#include "zvsurvey.h"

namespace zvprobe {

struct SurveyCallbacks {
    std::function<void(const ZvSurveyEvent& event)> on_event;

    // Gets each run of packets in sync, from the first one's sync byte on, at its place.
    std::function<void(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset)>
        on_packets;

    // Gets each line of the clock; may be empty.
    std::function<void(const ZvSurveyTimeLine& line)> on_clock;
};

// How much is kept of how the stream goes over its time.
struct SurveyHistory {
    uint32_t rows = 0;    // of each list at most; 0: as many as there may be
    uint32_t span_s = 0;  // of the latest time at least; 0: all of it
};

class SurveyRun {
  public:
    // Throws std::bad_alloc, as do the functions below.
    // limits:  of the indicators, 0 for the default
    // history: the JSON tells how the stream went over its time, too
    explicit SurveyRun(SurveyCallbacks callbacks, const ZvSurveyLimits& limits = {},
                       const std::optional<SurveyHistory>& history = {});
    SurveyRun(const SurveyRun&) = delete;
    SurveyRun& operator=(const SurveyRun&) = delete;

    // Takes the next bytes, cut anywhere. What a callback throws comes out here.
    // live: time is that of arrival, which is now; the same at every call
    void feed(std::span<const uint8_t> bytes, bool live);

    // The same, live, at a time that the caller has read: microseconds of the monotonic clock, not
    // less than before. Gaps are raised by tick.
    void feed_at(std::span<const uint8_t> bytes, uint64_t now_us);
    void tick(uint64_t now_us);

    // Ends the stream: what waited for more bytes is settled.
    void finish();

    ZvSurveyTotals totals() const;

    // -> what is known of a PID; nothing when it was not seen
    std::optional<ZvSurveyPid> pid(uint16_t number) const;

    // -> the records of a kind; their texts are constants
    std::vector<ZvSurveyIndicator> indicators() const;
    std::vector<ZvSurveyPid> pids() const;
    std::vector<ZvSurveyTable> tables() const;

    // Shows programmes, and the streams of all of them; the texts hold for the call.
    void for_each_program(const std::function<void(const ZvSurveyProgram& program)>& see) const;
    void for_each_stream(const std::function<void(const ZvSurveyStream& stream)>& see) const;

    // -> the JSON object as text: quickly, and to be parsed at leisure
    std::string json_text() const;

    Json json() const { return Json::parse(json_text()); }

    // -> for the functions of zvsurvey.h that give records
    const ZvSurvey* records() const { return survey_.get(); }

  private:
    template <typename Call>
    void keep_exception(Call call);
    void rethrow();

    SurveyCallbacks callbacks_;
    std::exception_ptr thrown_;  // by a callback: it must not pass through the library
    std::unique_ptr<ZvSurvey, void (*)(ZvSurvey*)> survey_;
};

}  // namespace zvprobe
