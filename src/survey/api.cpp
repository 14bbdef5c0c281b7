// SPDX-License-Identifier: MIT
// The C interface of zvsurvey.h: a survey's life, what it is fed, what it calls, its JSON.
#include "survey/api.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "survey/json.h"

using namespace zv::survey;

namespace {

EventLog::Tell teller(const ZvSurveyOptions& options) {
    if (!options.on_event) return {};
    return [options](const Event& event) {
        const std::string message = message_of(event);
        const ZvSurveyEvent record = to_record(event, message);
        options.on_event(options.arg, &record);
    };
}

SeePackets packet_seer(const ZvSurveyOptions& options) {
    if (!options.on_packets) return {};
    return [options](const uint8_t* packets, size_t packet_size, size_t count, uint64_t offset) {
        options.on_packets(options.arg, packets, packet_size, count, offset);
    };
}

SeeTimeLine line_seer(const ZvSurveyOptions& options) {
    if (!options.on_clock) return {};
    return [options](const TimeLine& line, uint64_t end) {
        const ZvSurveyTimeLine record = {line.offset, line.ticks / kPcrHz,
                                         line.ticks_per_byte / kPcrHz, end};
        options.on_clock(options.arg, &record);
    };
}

// As many members as the caller's version of the record has.
template <typename Record>
Record known_part(const Record* record, size_t size) {
    Record whole = {};
    if (record) std::memcpy(&whole, record, std::min(size, sizeof whole));
    return whole;
}

struct Stopped {
    int result;
};

// The limits that a host set, the defaults for the others.
Limits limits_of(const ZvSurveyLimits& set) {
    Limits limits;
    const auto take = [](double& limit, double wanted) {
        if (wanted > 0) limit = wanted;
    };
    take(limits.pat, set.pat_s);
    take(limits.pmt, set.pmt_s);
    take(limits.pid, set.pid_s > 0 ? std::max(set.pid_s, 1.0) : 0);
    take(limits.pcr_repetition, set.pcr_repetition_s);
    take(limits.pcr_discontinuity, set.pcr_discontinuity_s);
    take(limits.pcr_accuracy_ns, set.pcr_accuracy_ns);
    take(limits.pts, set.pts_s);
    take(limits.cat, set.cat_s);
    take(limits.nit_actual, set.nit_actual_s);
    take(limits.nit_other, set.nit_other_s);
    take(limits.bat, set.bat_s);
    take(limits.tot, set.tot_s);
    take(limits.unreferenced, set.unreferenced_s);
    take(limits.sdt_actual, set.sdt_actual_s);
    take(limits.sdt_other, set.sdt_other_s);
    take(limits.eit_actual, set.eit_actual_s);
    take(limits.eit_other, set.eit_other_s);
    take(limits.eit_pf, set.eit_pf_s);
    take(limits.tdt, set.tdt_s);
    take(limits.section_distance, set.section_distance_s);
    return limits;
}

std::optional<HistoryBounds> history_of(const ZvSurveyOptions& options) {
    if (options.history == 0) return std::nullopt;
    HistoryBounds bounds = {.span_s = options.history_span_s};
    if (options.history_rows > 0) bounds.rows = options.history_rows;
    return bounds;
}

}  // namespace

ZvSurvey::ZvSurvey(const ZvSurveyOptions& options)
    : survey(teller(options), packet_seer(options), limits_of(options.limits), line_seer(options),
             history_of(options)) {}

ZvSurvey* zvsurvey_new(const ZvSurveyOptions* options) {
    try {
        return new ZvSurvey(known_part(options, options ? options->size : 0));
    } catch (...) {
        return nullptr;
    }
}

namespace {

// Calls take(bytes) where bytes may be taken.
template <typename Take>
int feed_with(ZvSurvey* survey, const void* bytes, size_t size, bool live, Take take) {
    if (!survey || survey->ended || (!bytes && size > 0)) return -1;
    if (size > 0 && survey->live.value_or(live) != live) return -1;
    if (size > 0) survey->live = live;
    const int result = guarded(-1, [&] {
        take(std::span(static_cast<const uint8_t*>(bytes), size));
        return 0;
    });
    survey->ended = result != 0;
    return result;
}

}  // namespace

int zvsurvey_feed(ZvSurvey* survey, const void* bytes, size_t size) {
    return feed_with(survey, bytes, size, false,
                     [&](std::span<const uint8_t> taken) { survey->survey.feed(taken); });
}

int zvsurvey_feed_at(ZvSurvey* survey, const void* bytes, size_t size, uint64_t arrival_us) {
    return feed_with(survey, bytes, size, true, [&](std::span<const uint8_t> taken) {
        if (!taken.empty()) survey->survey.feed_at(taken, arrival_us);
    });
}

void zvsurvey_tick(ZvSurvey* survey, uint64_t now_us) {
    if (!survey || survey->ended) return;
    guarded(-1, [&] {
        survey->survey.tick(now_us);
        return 0;
    });
}

void zvsurvey_finish(ZvSurvey* survey) {
    if (!survey || survey->ended) return;
    survey->ended = true;
    guarded(-1, [&] {
        survey->survey.finish();
        return 0;
    });
}

int zvsurvey_json(const ZvSurvey* survey, ZvSurveyWrite write, void* arg) {
    if (!survey || !write) return -1;
    try {
        write_json(survey->survey, survey->description(), [&](std::string_view text) {
            if (const int result = write(arg, text.data(), text.size())) throw Stopped{result};
        });
        return 0;
    } catch (const Stopped& stopped) {
        return stopped.result;
    } catch (...) {
        return -1;
    }
}

void zvsurvey_free(ZvSurvey* survey) {
    delete survey;
}
