// SPDX-License-Identifier: MIT
// Implementation of survey_run.h.
#include "ts/survey_run.h"

#include <chrono>
#include <new>
#include <string>
#include <utility>

namespace zvprobe {
namespace {

uint64_t monotonic_us() {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(time).count());
}

}  // namespace

SurveyRun::SurveyRun(SurveyCallbacks callbacks, const ZvSurveyLimits& limits, bool history)
    : callbacks_(std::move(callbacks)), survey_(nullptr, zvsurvey_free) {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.arg = this;
    options.limits = limits;
    options.history = history;
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
    const uint64_t now = live ? monotonic_us() : 0;
    const int result = live ? zvsurvey_feed_at(survey_.get(), bytes.data(), bytes.size(), now)
                            : zvsurvey_feed(survey_.get(), bytes.data(), bytes.size());
    if (live) zvsurvey_tick(survey_.get(), now);
    rethrow();
    if (result != 0) throw std::bad_alloc();
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

Json SurveyRun::json() const {
    std::string text;
    const auto append = [](void* arg, const char* piece, size_t size) {
        static_cast<std::string*>(arg)->append(piece, size);
        return 0;
    };
    if (zvsurvey_json(survey_.get(), append, &text) != 0) throw std::bad_alloc();
    return Json::parse(text);
}

}  // namespace zvprobe
