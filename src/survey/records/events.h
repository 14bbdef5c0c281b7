// SPDX-License-Identifier: MIT
// What happened, in order: counted without end, the first listed, each told to the host.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "survey/records/indicators.h"

namespace zv::survey {

constexpr int kNoPid = -1;

// First the indicators, by the numbers that they have; then what else is worth a line.
enum class EventKind : uint8_t {
    kFirstOther = kIndicators.size(),
    kPatChanged = kFirstOther,
    kPmtChanged,
    kSdtChanged,
    kProgramAdded,
    kProgramRemoved,
    kDiscontinuitySignalled,
    kScramblingChanged,
    kStreamAppeared,
    kStreamVanished,
    kClockChanged,
    kStreamChanged,
    kStreamContradictsPmt,
    kSplice,
};

constexpr EventKind event_of(Indicator indicator) {
    return static_cast<EventKind>(indicator);
}
constexpr bool is_indicator(EventKind kind) {
    return kind < EventKind::kFirstOther;
}

struct EventName {
    const char* name;
    const char* indicator;  // null for what TR 101 290 does not name
};
EventName name_of(EventKind kind);

// Why an indicator counted that has several clauses.
enum class Clause : uint8_t {
    kGap,        // a: the limit in ms
    kTableId,    // a: a table_id that does not belong on the PID
    kScrambled,  // packets that must not be
    kTooClose,   // a: table_id of sections that follow too soon
};

struct Event {
    EventKind kind;
    Clause clause = Clause::kGap;
    int32_t pid = kNoPid;
    uint64_t offset = 0;
    uint32_t a = 0, b = 0;  // what the message says, by kind
    uint64_t c = 0, d = 0;  // the same
    double time_s = kNoTime;
    uint64_t number = 0;  // in the order of being found
};

// -> one line for people
std::string message_of(const Event& event);

class EventLog {
  public:
    static constexpr size_t kMostListed = 1000;
    static constexpr uint32_t kNotListed = UINT32_MAX;

    using Tell = std::function<void(const Event&)>;
    explicit EventLog(Tell tell) : tell_(std::move(tell)) {}

    // Counts an event. -> its place, for settle
    uint32_t found(const Event& event) {
        if (is_indicator(event.kind)) ++indicators_[static_cast<size_t>(event.kind)].count;
        const auto needs = static_cast<size_t>(needs_of(event.kind));
        std::vector<Event>& list = listed_[needs];
        const uint64_t number = total_++;
        if (list.size() >= kMostListed) return kNotListed;
        list.push_back(event);
        list.back().number = number;
        return static_cast<uint32_t>(needs * kMostListed + list.size() - 1);
    }

    // Its time is known now, or known to stay unknown: the host is told.
    void settle(uint32_t place, const Event& event) {
        if (place != kNotListed)
            listed_[place / kMostListed][place % kMostListed].time_s = event.time_s;
        if (is_indicator(event.kind))
            indicators_[static_cast<size_t>(event.kind)].note_time(event.time_s);
        if (tell_) tell_(event);
    }

    // What an indicator counted that proves not to be measured is no event.
    // measures(needs)  in  is there what it takes?
    // -> the first, in order
    std::vector<Event> first_measured(const std::function<bool(Needs)>& measures) const;
    uint64_t total(const std::function<bool(Needs)>& measures) const;

    const IndicatorCount& counted(Indicator indicator) const {
        return indicators_[static_cast<size_t>(indicator)];
    }

  private:
    static Needs needs_of(EventKind kind) {
        return is_indicator(kind) ? kIndicators[static_cast<size_t>(kind)].needs : Needs::kNothing;
    }

    Tell tell_;
    uint64_t total_ = 0;
    std::array<std::vector<Event>, 4> listed_;  // by what it takes to measure them
    std::array<IndicatorCount, kIndicators.size()> indicators_{};
};

}  // namespace zv::survey
