// SPDX-License-Identifier: MIT
// Implementation of json_history.h: a row at a time, each as long as the history has steps.
#include "survey/json_history.h"

#include <span>

namespace zv::survey {
namespace {

constexpr double kMilliseconds = 1e3;

class HistoryWriter {
  public:
    HistoryWriter(const Survey& survey, ObjectWriter& out)
        : survey_(survey), history_(*survey.timing().history()), out_(out) {}

    void write() {
        out_.member("start_s", history_.start_s());
        out_.member("step_s", history_.step_s());
        out_.member("steps", history_.steps());
        write_packets();
        write_pcrs();
        write_pts();
        write_tables();
        write_events();
    }

  private:
    void write_packets() {
        out_.list("packets", [this](auto add) {
            for (const auto& [pid, row] : history_.packets())
                if (!row.steps.empty()) add({{"pid", pid}, {"packets", counts_json(row.steps)}});
        });
        const StepCounts& others = history_.other_packets();
        out_.member("other_packets", others.empty() ? Json() : counts_json(others));
    }

    void write_pcrs() {
        const bool constant = survey_.constant_rate();
        out_.list("pcr", [&](auto add) {
            for (const auto& [pid, row] : history_.pcrs())
                add({{"pid", pid},
                     {"interval_ms", extremes_json(row.intervals_ticks, kMilliseconds / kPcrHz)},
                     {"accuracy_ns", constant ? extremes_json(row.deviations_ns, 1) : Json()}});
        });
        out_.left_out("pcr_left_out", history_.pcr_left_out());
    }

    void write_pts() {
        out_.list("pts", [this](auto add) {
            for (const auto& [pid, row] : history_.pts_ahead_s())
                add({{"pid", pid}, {"ahead_ms", extremes_json(row, kMilliseconds)}});
        });
        out_.left_out("pts_left_out", history_.pts_left_out());
    }

    void write_tables() {
        out_.list("tables", [this](auto add) {
            for (const auto& [key, most_s] : history_.table_intervals_s())
                add({{"pid", key.pid},
                     {"table_id", key.table_id},
                     {"interval_ms", {{"max", values_json(most_s, kMilliseconds)}}}});
        });
        out_.left_out("tables_left_out", history_.tables_left_out());
    }

    void write_events() {
        out_.list("events", [this](auto add) {
            for (size_t i = 0; i < kIndicators.size(); ++i) {
                const auto indicator = static_cast<Indicator>(i);
                const StepCounts& counts = history_.counts(indicator);
                if (counts.empty() || !survey_.measures(indicator)) continue;
                add({{"number", kIndicators[i].id}, {"counts", counts_json(counts)}});
            }
        });
    }

    Json counts_json(const StepCounts& counts) const {
        Json list = Json::array();
        for (const uint64_t count : std::span(counts).first(history_.steps()))
            list.push_back(count);
        return list;
    }

    Json values_json(const StepValues& values, double unit) const {
        if (values.empty()) return {};
        Json list = Json::array();
        for (const double value : std::span(values).first(history_.steps()))
            list.push_back(number_or_null(value * unit));
        return list;
    }

    Json extremes_json(const StepExtremes& extremes, double unit) const {
        if (extremes.most.empty()) return {};
        return {{"min", values_json(extremes.least, unit)},
                {"max", values_json(extremes.most, unit)}};
    }

    const Survey& survey_;
    const History& history_;
    ObjectWriter& out_;
};

}  // namespace

void write_history(const Survey& survey, ObjectWriter& out) {
    out.object("history", [&](ObjectWriter& inner) { HistoryWriter(survey, inner).write(); });
}

}  // namespace zv::survey
