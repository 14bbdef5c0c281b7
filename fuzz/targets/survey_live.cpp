// SPDX-License-Identifier: MIT
// The survey of a live stream: pieces and ticks at any times, also late ones. Counts never go back,
// what needs no clock is the same as of a file, every event is told once, the JSON is JSON, a history of
// the latest time is the end of the whole one.
#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "maker/timing_maker.h"
#include "support/history_check.h"
#include "zvsurvey.h"

namespace {

constexpr size_t kIndicators = 27;
constexpr std::array<const char*, 6> kNeedNoClock = {"1.1", "1.2", "1.4", "2.1", "2.2", "2.3.b"};

class Run {
  public:
    // span_s  in  what the history keeps of the latest time; 0: all of it
    explicit Run(uint32_t span_s) : span_s_(span_s) {
        ZvSurveyOptions options = {};
        options.size = sizeof options;
        options.arg = &told_;
        options.history = 1;
        options.history_span_s = span_s;
        options.on_event = [](void* told, const ZvSurveyEvent*) {
            ++*static_cast<uint64_t*>(told);
        };
        survey_ = zvsurvey_new(&options);
        fuzz::require(survey_, "there is memory");
    }
    ~Run() { zvsurvey_free(survey_); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void feed(std::span<const uint8_t> bytes) {
        fuzz::require(zvsurvey_feed(survey_, bytes.data(), bytes.size()) == 0, "bytes are taken");
    }
    void feed_at(std::span<const uint8_t> bytes, uint64_t now_us) {
        fuzz::ExactBytes piece(bytes);
        fuzz::require(zvsurvey_feed_at(survey_, piece.data(), piece.size(), now_us) == 0,
                      "bytes are taken");
        require_no_count_back();
    }
    void tick(uint64_t now_us) {
        zvsurvey_tick(survey_, now_us);
        require_no_count_back();
    }
    void finish() {
        zvsurvey_finish(survey_);
        require_no_count_back();
        ZvSurveyTotals totals;
        fuzz::require(zvsurvey_totals(survey_, &totals, sizeof totals) == 1, "there are totals");
        // Without a clock some were told before they proved not to be measured.
        fuzz::require(totals.events <= told_, "each event is told once");
    }
    nlohmann::json checked_json() const {
        std::string text;
        const auto add = [](void* to, const char* part, size_t size) {
            static_cast<std::string*>(to)->append(part, size);
            return 0;
        };
        fuzz::require(zvsurvey_json(survey_, add, &text) == 0, "JSON can be written");
        fuzz::require(nlohmann::json::accept(text), "the JSON is JSON");
        nlohmann::json survey = nlohmann::json::parse(text);
        const std::string wrong = zvtest::HistoryCheck(survey, span_s_).run();
        fuzz::require(wrong.empty(), ("the history adds up to the totals: " + wrong).c_str());
        return survey;
    }
    uint64_t count(const std::string& id) const {
        for (size_t i = 0; i < kIndicators; ++i) {
            const ZvSurveyIndicator indicator = indicator_at(i);
            if (indicator.id == id) return indicator.count;
        }
        fuzz::require(false, "there is such an indicator");
        return 0;
    }

  private:
    ZvSurveyIndicator indicator_at(size_t index) const {
        ZvSurveyIndicator indicator;
        fuzz::require(zvsurvey_indicator(survey_, index, &indicator, sizeof indicator) == 1,
                      "there are so many indicators");
        return indicator;
    }
    void require_no_count_back() {
        for (size_t i = 0; i < kIndicators; ++i) {
            const ZvSurveyIndicator indicator = indicator_at(i);
            fuzz::require(indicator.count >= counts_[i], "counts never go back");
            fuzz::require(!(indicator.first_s > indicator.last_s), "the first is before the last");
            counts_[i] = indicator.count;
        }
    }

    const uint32_t span_s_;
    ZvSurvey* survey_ = nullptr;
    uint64_t told_ = 0;
    std::array<uint64_t, kIndicators> counts_ = {};
};

// Time goes on by nothing to minutes, at times back or to its end.
uint64_t after(uint64_t now_us, uint8_t by) {
    if (by == 0xFF) return UINT64_MAX;
    if (by == 0xFE) return now_us / 2;
    return now_us + (uint64_t{by} << (by & 0x15));
}

// One survey keeps all of its history, the other the latest time.
void require_window(const Run& all, const Run& latest) {
    const nlohmann::json whole = all.checked_json(), window = latest.checked_json();
    const std::string wrong =
        zvtest::WindowCheck(window.at("history"), whole.at("history"), true).run();
    fuzz::require(wrong.empty(), ("the latest history is the end of all: " + wrong).c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    fuzz::ByteSource times(in.take(size / 3));
    const std::vector<uint8_t> input = fuzz::make_timed_packets(in);
    // by the size: the inputs of the corpus have no byte for it
    constexpr uint32_t kSpans[] = {1, 60, 3600};
    Run live(0), latest(kSpans[size % std::size(kSpans)]), file(0);
    uint64_t now_us = times.u16();
    for (std::span<const uint8_t> left = input; !left.empty();) {
        const uint8_t how = times.u8();
        now_us = after(now_us, times.u8());
        const size_t piece = std::min(left.size(), how < 0x80 ? 7 * 188 : size_t{how});
        for (Run* const run : {&live, &latest}) {
            if (how & 1) run->tick(now_us);
            run->feed_at(left.first(piece), now_us);
        }
        left = left.subspan(piece);
    }
    now_us = after(now_us, times.u8());
    for (Run* const run : {&live, &latest}) {
        run->tick(now_us);
        run->finish();
    }
    require_window(live, latest);

    file.feed(input);
    file.finish();
    for (const char* const id : kNeedNoClock)
        fuzz::require(live.count(id) == file.count(id), id);
    return 0;
}
