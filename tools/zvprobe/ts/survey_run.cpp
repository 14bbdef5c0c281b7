// SPDX-License-Identifier: MIT
// Implementation of survey_run.h.
#include "ts/survey_run.h"

#include <chrono>
#include <new>
#include <string>
#include <utility>

#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {
namespace {

uint64_t monotonic_us() {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(time).count());
}

template <typename Record>
std::vector<Record> all_of(const ZvSurvey* survey,
                           int (*get)(const ZvSurvey*, size_t, Record*, size_t)) {
    std::vector<Record> all;
    Record record = {};
    while (get(survey, all.size(), &record, sizeof record) == 1)
        all.push_back(record);
    return all;
}

}  // namespace

SurveyRun::SurveyRun(SurveyCallbacks callbacks, const ZvSurveyLimits& limits,
                     const std::optional<SurveyHistory>& history)
    : callbacks_(std::move(callbacks)), survey_(nullptr, zvsurvey_free) {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.arg = this;
    options.limits = limits;
    options.history = history.has_value();
    options.history_rows = history ? history->rows : 0;
    options.history_span_s = history ? history->span_s : 0;
    options.on_event = [](void* arg, const ZvSurveyEvent* event) {
        auto& run = *static_cast<SurveyRun*>(arg);
        run.keep_exception([&] { run.callbacks_.on_event(*event); });
    };
    options.on_packets = [](void* arg, const uint8_t* packets, size_t packet_size, size_t count,
                            uint64_t offset) {
        auto& run = *static_cast<SurveyRun*>(arg);
        run.keep_exception([&] {
            run.callbacks_.on_packets({packets, count * packet_size}, packet_size, offset);
        });
    };
    if (callbacks_.on_clock) {
        options.on_clock = [](void* arg, const ZvSurveyTimeLine* line) {
            auto& run = *static_cast<SurveyRun*>(arg);
            run.keep_exception([&] { run.callbacks_.on_clock(*line); });
        };
    }
    survey_.reset(zvsurvey_new(&options));
    if (!survey_) throw std::bad_alloc();
}

// After the first exception nothing more is called.
template <typename Call>
void SurveyRun::keep_exception(Call call) {
    if (thrown_) return;
    try {
        call();
    } catch (...) {
        thrown_ = std::current_exception();
    }
}

void SurveyRun::rethrow() {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

void SurveyRun::feed(std::span<const uint8_t> bytes, bool live) {
    if (live) {
        const uint64_t now = monotonic_us();
        feed_at(bytes, now);
        return tick(now);
    }
    const int result = zvsurvey_feed(survey_.get(), bytes.data(), bytes.size());
    rethrow();
    if (result != 0) throw std::bad_alloc();
}

void SurveyRun::feed_at(std::span<const uint8_t> bytes, uint64_t now_us) {
    const int result = zvsurvey_feed_at(survey_.get(), bytes.data(), bytes.size(), now_us);
    rethrow();
    if (result != 0) throw std::bad_alloc();
}

void SurveyRun::tick(uint64_t now_us) {
    zvsurvey_tick(survey_.get(), now_us);
    rethrow();
}

void SurveyRun::finish() {
    zvsurvey_finish(survey_.get());
    rethrow();
}

ZvSurveyTotals SurveyRun::totals() const {
    ZvSurveyTotals totals = {};
    if (zvsurvey_totals(survey_.get(), &totals, sizeof totals) != 1) throw std::bad_alloc();
    return totals;
}

std::optional<ZvSurveyPid> SurveyRun::pid(uint16_t number) const {
    ZvSurveyPid pid = {};
    if (zvsurvey_pid_by_number(survey_.get(), number, &pid, sizeof pid) != 1) return std::nullopt;
    return pid;
}

std::vector<ZvSurveyIndicator> SurveyRun::indicators() const {
    return all_of<ZvSurveyIndicator>(survey_.get(), zvsurvey_indicator);
}

// By number: by index the library would search for each of them.
std::vector<ZvSurveyPid> SurveyRun::pids() const {
    std::vector<ZvSurveyPid> all;
    ZvSurveyPid record = {};
    for (uint16_t number = 0; number < zv::kPidCount; ++number)
        if (zvsurvey_pid_by_number(survey_.get(), number, &record, sizeof record) == 1)
            all.push_back(record);
    return all;
}

std::vector<ZvSurveyTable> SurveyRun::tables() const {
    return all_of<ZvSurveyTable>(survey_.get(), zvsurvey_table);
}

void SurveyRun::for_each_program(
    const std::function<void(const ZvSurveyProgram& program)>& see) const {
    ZvSurveyProgram program = {};
    for (size_t i = 0; zvsurvey_program(survey_.get(), i, &program, sizeof program) == 1; ++i)
        see(program);
}

void SurveyRun::for_each_stream(
    const std::function<void(const ZvSurveyStream& stream)>& see) const {
    const size_t programs = totals().programs;
    ZvSurveyStream stream = {};
    for (size_t i = 0; i < programs; ++i)
        for (size_t k = 0; zvsurvey_stream(survey_.get(), i, k, &stream, sizeof stream) == 1; ++k)
            see(stream);
}

std::string SurveyRun::json_text() const {
    std::string text;
    const auto append = [](void* arg, const char* piece, size_t size) {
        static_cast<std::string*>(arg)->append(piece, size);
        return 0;
    };
    if (zvsurvey_json(survey_.get(), append, &text) != 0) throw std::bad_alloc();
    return text;
}

}  // namespace zvprobe
