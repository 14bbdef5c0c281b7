// SPDX-License-Identifier: MIT
// The C interface of zvsurvey.h: the history of a stream, row by row.
#include <iterator>

#include "survey/api.h"

using namespace zv::survey;

namespace {

// -> null when none is kept
const History* history_of(const ZvSurvey* survey) {
    return survey ? survey->survey.timing().history() : nullptr;
}

// Rows that memory was short for have no steps.
bool has_steps(const History::PacketRow& row) {
    return !row.steps.empty();
}
bool has_steps(const History::PcrRow& row) {
    return !row.intervals_ticks.most.empty();
}
bool has_steps(const StepExtremes& row) {
    return !row.most.empty();
}
bool has_steps(const StepValues& row) {
    return !row.empty();
}

template <typename Rows>
size_t count_rows(const Rows& rows) {
    const auto has = [](const auto& entry) { return has_steps(entry.second); };
    return static_cast<size_t>(std::count_if(rows.begin(), rows.end(), has));
}

// Calls take(key, row) -> int for the row with that number. -> what it gave; 0 when there is none
template <typename Rows, typename Take>
int with_row(const Rows& rows, size_t index, Take take) {
    for (const auto& [key, row] : rows)
        if (has_steps(row) && index-- == 0) return take(key, row);
    return 0;
}

bool has_counts(const Survey& survey, const History& history, size_t i) {
    const auto indicator = static_cast<Indicator>(i);
    return !history.counts(indicator).empty() && survey.measures(indicator);
}

// -> the values in seconds
const double* in_seconds(const StepValues& ticks, std::vector<double>& seconds) {
    seconds.resize(ticks.size());
    std::ranges::transform(ticks, seconds.begin(), [](double of) { return of * (1 / kPcrHz); });
    return seconds.data();
}

}  // namespace

int zvsurvey_history(const ZvSurvey* survey, ZvSurveyHistory* out, size_t size) {
    const History* const history = history_of(survey);
    if (!history || !out) return 0;
    ZvSurveyHistory record = {};
    record.start_s = history->start_s();
    record.step_s = history->step_s();
    record.steps = history->steps();
    record.packet_rows = count_rows(history->packets());
    record.pcr_rows = count_rows(history->pcrs());
    record.pts_rows = count_rows(history->pts_ahead_s());
    record.table_rows = count_rows(history->table_intervals_s());
    for (size_t i = 0; i < kIndicators.size(); ++i)
        record.event_rows += has_counts(survey->survey, *history, i);
    const StepCounts& others = history->other_packets();
    record.other_packets = others.empty() ? nullptr : others.data();
    record.pcr_left_out = history->pcr_left_out();
    record.pts_left_out = history->pts_left_out();
    record.tables_left_out = history->tables_left_out();
    return fill(out, size, record);
}

int zvsurvey_history_packets(const ZvSurvey* survey, size_t index, ZvSurveyHistoryPackets* out,
                             size_t size) {
    const History* const history = history_of(survey);
    if (!history || !out) return 0;
    return with_row(history->packets(), index, [&](uint16_t pid, const History::PacketRow& row) {
        return fill(out, size, ZvSurveyHistoryPackets{pid, row.steps.data()});
    });
}

int zvsurvey_history_pcr(const ZvSurvey* survey, size_t index, ZvSurveyHistoryPcr* out,
                         size_t size) {
    const History* const history = history_of(survey);
    if (!history || !out) return 0;
    return guarded(0, [&] {
        return with_row(history->pcrs(), index, [&](uint16_t pid, const History::PcrRow& row) {
            ZvSurveyHistoryPcr record = {};
            record.pid = pid;
            record.interval_min_s =
                in_seconds(row.intervals_ticks.least, survey->pcr_interval_min_s);
            record.interval_max_s =
                in_seconds(row.intervals_ticks.most, survey->pcr_interval_max_s);
            if (!row.deviations_ns.most.empty() && survey->survey.constant_rate()) {
                record.accuracy_min_ns = row.deviations_ns.least.data();
                record.accuracy_max_ns = row.deviations_ns.most.data();
            }
            return fill(out, size, record);
        });
    });
}

int zvsurvey_history_pts(const ZvSurvey* survey, size_t index, ZvSurveyHistoryPts* out,
                         size_t size) {
    const History* const history = history_of(survey);
    if (!history || !out) return 0;
    return with_row(history->pts_ahead_s(), index, [&](uint16_t pid, const StepExtremes& row) {
        return fill(out, size, ZvSurveyHistoryPts{pid, row.least.data(), row.most.data()});
    });
}

int zvsurvey_history_table(const ZvSurvey* survey, size_t index, ZvSurveyHistoryTable* out,
                           size_t size) {
    const History* const history = history_of(survey);
    if (!history || !out) return 0;
    return with_row(
        history->table_intervals_s(), index, [&](History::TableKey key, const StepValues& most_s) {
            return fill(out, size, ZvSurveyHistoryTable{key.pid, key.table_id, most_s.data()});
        });
}

int zvsurvey_history_events(const ZvSurvey* survey, size_t index, ZvSurveyHistoryEvents* out,
                            size_t size) {
    const History* const history = history_of(survey);
    if (!history || !out) return 0;
    for (size_t i = 0; i < kIndicators.size(); ++i) {
        if (!has_counts(survey->survey, *history, i) || index-- != 0) continue;
        const StepCounts& counts = history->counts(static_cast<Indicator>(i));
        return fill(out, size, ZvSurveyHistoryEvents{kIndicators[i].id, counts.data()});
    }
    return 0;
}
