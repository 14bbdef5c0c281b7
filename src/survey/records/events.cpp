// SPDX-License-Identifier: MIT
// Implementation of events.h: names and messages.
#include "survey/records/events.h"

#include <algorithm>
#include <cstdio>

#include "survey/codecs/codec.h"
#include "survey/records/splice_event.h"

namespace zv::survey {
namespace {

template <typename... Args>
std::string text(const char* format, Args... args) {
    char line[160];
    std::snprintf(line, sizeof line, format, args...);
    return line;
}

}  // namespace

EventName name_of(EventKind kind) {
    if (is_indicator(kind)) {
        const IndicatorName& indicator = kIndicators[static_cast<size_t>(kind)];
        return {indicator.name, indicator.id};
    }
    constexpr const char* kOthers[] = {"pat_changed",
                                       "pmt_changed",
                                       "sdt_changed",
                                       "program_added",
                                       "program_removed",
                                       "discontinuity_signalled",
                                       "scrambling_changed",
                                       "stream_appeared",
                                       "stream_vanished",
                                       "clock_changed",
                                       "stream_changed",
                                       "stream_contradicts_pmt",
                                       "splice"};
    const auto first = static_cast<size_t>(EventKind::kFirstOther);
    return {kOthers[static_cast<size_t>(kind) - first], nullptr};
}

namespace {

std::string clause_text(const Event& event) {
    switch (event.clause) {
        case Clause::kTableId:
            return text("table 0x%02x does not belong on this PID", event.a);
        case Clause::kScrambled:
            return "a scrambled packet";
        case Clause::kTooClose:
            return text("sections of table 0x%02x follow too soon", event.a);
        case Clause::kGap:
            break;
    }
    return text("none for more than %u ms", event.a);
}

// What the indicators say that have one clause only.
std::string indicator_text(const Event& event) {
    const auto signed_a = static_cast<int32_t>(event.a);
    switch (static_cast<Indicator>(event.kind)) {
        case Indicator::kTsSyncLoss:
            return "sync lost";
        case Indicator::kSyncByteError:
            return text("0x%02x where a sync byte should be", event.a);
        case Indicator::kContinuityCountError:
            return text("continuity %u after %u", event.a, event.b);
        case Indicator::kTransportError:
            return "transport_error_indicator";
        case Indicator::kCrcError:
            return text("wrong CRC, table 0x%02x", event.a);
        case Indicator::kPcrRepetitionError:
            return text("%u ms between two PCRs", event.a);
        case Indicator::kPcrDiscontinuityIndicatorError:
            return text("PCR %+d ms without discontinuity_indicator", signed_a);
        case Indicator::kPcrAccuracyError:
            return text("PCR off by %+d ns", signed_a);
        case Indicator::kUnreferencedPid:
            return "no table names this PID";
        case Indicator::kEitPfError:
            return text("section %u of service 0x%04x is missing", event.a, event.b);
        default:
            return clause_text(event);
    }
}

}  // namespace

std::string message_of(const Event& event) {
    if (is_indicator(event.kind)) return indicator_text(event);
    const unsigned a = event.a;
    const unsigned b = event.b;
    const auto pid = static_cast<unsigned>(event.pid);
    switch (event.kind) {
        case EventKind::kPatChanged:
            return text("PAT version %u, transport stream 0x%04x", a, b);
        case EventKind::kPmtChanged:
            return text("PMT of programme %u, version %u", a, b);
        case EventKind::kSdtChanged:
            return text("SDT version %u, transport stream 0x%04x", a, b);
        case EventKind::kProgramAdded:
            return text("programme %u, PMT 0x%x", a, b);
        case EventKind::kProgramRemoved:
            return text("programme %u, PMT 0x%x, is gone", a, b);
        case EventKind::kDiscontinuitySignalled:
            return "discontinuity_indicator";
        case EventKind::kScramblingChanged:
            return a ? "scrambled from here on" : "clear from here on";
        case EventKind::kStreamAppeared:
            return text("stream 0x%x, type 0x%02x, is new in programme %u", pid, b, a);
        case EventKind::kStreamVanished:
            return text("stream 0x%x is gone from programme %u", pid, a);
        case EventKind::kClockChanged:
            return text("the clock is the PCR of PID 0x%x now, 0x%x before", pid, a);
        case EventKind::kStreamChanged:
            return text("picture %ux%u, %ux%u before", static_cast<unsigned>(event.c),
                        static_cast<unsigned>(event.d), a, b);
        case EventKind::kStreamContradictsPmt:
            return text("the PMT says %s, the stream is %s", codec_name(static_cast<Codec>(a)),
                        codec_name(static_cast<Codec>(b)));
        case EventKind::kSplice:
            return splice_text(event);
        default:
            return {};
    }
}

std::vector<Event> EventLog::first_measured(const std::function<bool(Needs)>& measures) const {
    std::vector<Event> events;
    for (size_t needs = 0; needs < listed_.size(); ++needs) {
        if (!measures(static_cast<Needs>(needs))) continue;
        events.insert(events.end(), listed_[needs].begin(), listed_[needs].end());
    }
    std::ranges::sort(events, {}, &Event::number);
    if (events.size() > kMostListed) events.resize(kMostListed);
    return events;
}

uint64_t EventLog::total(const std::function<bool(Needs)>& measures) const {
    uint64_t total = total_;
    for (size_t i = 0; i < kIndicators.size(); ++i)
        if (!measures(kIndicators[i].needs)) total -= indicators_[i].count;
    return total;
}

}  // namespace zv::survey
