// SPDX-License-Identifier: MIT
// A history of the latest time only: that it is the end of the whole one, and that what is in its
// steps is what a record of every single value says.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/even_stream.h"
#include "support/history_check.h"
#include "support/survey_run.h"
#include "survey/timing/history.h"

namespace {

using namespace zvtest;
using Json = nlohmann::json;
using zv::survey::History;
using zv::survey::Indicator;

ZvSurveyOptions with_span(uint32_t span_s) {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.history = 1;
    options.history_span_s = span_s;
    return options;
}

Json survey_of(const Bytes& bytes, uint32_t span_s, size_t piece) {
    const ZvSurveyOptions options = with_span(span_s);
    const Json survey = SurveyRun(&options).feed(bytes, piece).finish().json();
    EXPECT_EQ(HistoryCheck(survey, span_s).run(), "");
    return survey;
}

Bytes a_day() {
    TsStream stream;
    for (int i = 0; i < 86400; ++i)
        stream.add(i % 10 == 9 ? TsPacket(kVideoPid).cc(i / 400) : pcr_packet(kPcrPid, i));
    return stream;
}

TEST(SurveyWindow, IsTheEndOfTheWholeHistory) {
    struct Case {
        Bytes stream;
        uint32_t span_s;
        double step_s, start_s;
        int steps;
        bool even;
    };
    const Case cases[] = {
        {even_stream(5990, eventful), 54, 0.1, 0, 599, true},
        {even_stream(6010, eventful), 54, 0.1, 6, 541, true},
        {even_stream(6010, eventful), 55, 0.2, 0, 301, true},
        {even_stream(12'000, eventful), 1, 0.1, 60, 600, true},
        {even_stream(20'000, eventful), 60, 0.2, 84, 580, true},
        {a_day(), 3600, 12.8, 12.8 * 6180, 570, false},
    };
    for (const Case& one : cases) {
        const Json window = survey_of(one.stream, one.span_s, 10'000).at("history");
        EXPECT_EQ(window.at("step_s"), one.step_s);
        EXPECT_EQ(window.at("start_s"), one.start_s);
        EXPECT_EQ(window.at("steps"), one.steps);
        const Json whole = survey_of(one.stream, 0, one.stream.size()).at("history");
        EXPECT_EQ(whole.at("start_s"), 0);
        EXPECT_EQ(WindowCheck(window, whole, one.even).run(), "") << one.span_s;
        EXPECT_GT(window.at("pcr").size() * window.at("events").size(), 0u);
        EXPECT_EQ(survey_of(one.stream, one.span_s, one.stream.size()).at("history"), window);
    }
}

TEST(SurveyWindow, IsOnlyForCallersThatKnowTheOption) {
    ZvSurveyOptions options = with_span(1);
    options.size = offsetof(ZvSurveyOptions, history_span_s);
    const Bytes stream = even_stream(6010, eventful);
    const Json survey = SurveyRun(&options).feed(stream).finish().json();
    EXPECT_EQ(HistoryCheck(survey).run(), "");
    EXPECT_EQ(survey.at("history").at("step_s"), 0.2);
}

TEST(SurveyWindow, OfALiveStreamRollsOverSilenceOfAYearAtOnce) {
    constexpr uint64_t kYearUs = 365 * 86400 * uint64_t{1'000'000};
    TsStream stream;
    for (int i = 0; i < 10; ++i)
        stream.add(kVideoPid, 7);
    stream.skip(kVideoPid, 1).add(kVideoPid, 70);
    const ZvSurveyOptions options = with_span(3600);
    SurveyRun run(&options);
    const auto feed_at = [&](int datagram, uint64_t at_us) {
        const auto bytes = std::span(stream.bytes()).subspan(size_t(datagram) * 7 * 188, 7 * 188);
        EXPECT_EQ(zvsurvey_feed_at(*run, bytes.data(), bytes.size(), at_us), 0);
    };
    for (int i = 0; i < 10; ++i)
        feed_at(i, 1'000'000);
    feed_at(10, kYearUs);
    feed_at(11, 500);  // back, which is no later
    zvsurvey_tick(*run, kYearUs + 20'000'000);
    ZvSurveyHistory all;
    ASSERT_EQ(zvsurvey_history(*run, &all, sizeof all), 1);
    EXPECT_EQ(all.steps, 572u);
    EXPECT_EQ(all.start_s, 41'053 * 60 * 12.8) << "the silence took 2,463,749 steps";
    const Json survey = run.finish().json();
    EXPECT_EQ(HistoryCheck(survey, 3600).run(), "");
    const Json& history = survey.at("history");
    EXPECT_EQ(history.at("start_s"), all.start_s);
    const std::vector<uint64_t> packets = history.at("packets")[0].at("packets");
    EXPECT_EQ(packets[569], 14u);
    EXPECT_EQ(std::count(packets.begin(), packets.end(), 0u), 571);
    const Json lost = history.at("events").at(0);
    EXPECT_EQ(lost.at("number"), "1.4");
    EXPECT_EQ(lost.at("counts")[569], 1);
}

TEST(SurveyWindow, GivesRowsThatBecameEmptyToOthers) {
    const zv::survey::Pids pids;
    History history(pids, {.rows = 2, .span_s = 54});
    const auto see_all = [&](uint16_t pid, double time_s) {
        history.see_pcr_interval(pid, time_s, 1);
        history.see_pts_ahead(pid, time_s, 1);
        history.see_table_interval(pid, 0x42, time_s, 1);
    };
    see_all(1, 0);
    see_all(2, 5.9);
    history.see_pcr_deviation(1, 6, 1);
    see_all(3, 59.9);
    EXPECT_EQ(history.start_s(), 0);
    see_all(4, 60);  // nothing is left of what came before 6 s, but PID 1's deviation
    EXPECT_EQ(history.start_s(), 6);
    EXPECT_EQ(history.pcrs().size(), 2u);
    EXPECT_TRUE(history.pcrs().contains(1) && history.pcrs().contains(4));
    see_all(5, 60);
    EXPECT_EQ(history.pts_ahead_s().size(), 2u);
    EXPECT_TRUE(history.pts_ahead_s().contains(4) && history.pts_ahead_s().contains(5));
    EXPECT_EQ(history.table_intervals_s().size(), 2u);
    EXPECT_EQ(history.pcr_left_out(), 2u) << "of PIDs 3 and 5";
    EXPECT_EQ(history.pts_left_out(), 1u);
    EXPECT_EQ(history.tables_left_out(), 1u);
    see_all(6, 5);  // older than all of it
    EXPECT_EQ(history.pcr_left_out(), 2u);
    see_all(6, 1e9);
    EXPECT_EQ(history.pcrs().size(), 1u);
    EXPECT_EQ(history.pts_ahead_s().size(), 1u);
    EXPECT_EQ(history.table_intervals_s().size(), 1u);
}

// Every value and every count of packets, one by one.
class LiteralRecord {
  public:
    enum List { kPcr, kAccuracy, kPts, kTable, kEvent };

    explicit LiteralRecord(uint32_t span_s) : span_s_(span_s) {}

    void reach(double time_s) {
        last_s_ = std::max(last_s_, time_s);
        while (number(last_s_) >= 600 && (span_s_ == 0 || 540 * step_s() < span_s_))
            ++doublings_;
    }
    void see(List list, double time_s, double value) {
        reach(time_s);
        values_.push_back({list, time_s, value});
    }
    void count_packets(double from_s, double to_s, uint64_t packets) {
        reach(to_s);
        counts_.push_back({from_s, to_s, packets});
    }

    double step_s() const { return std::ldexp(0.1, doublings_); }
    uint64_t number(double time_s) const {
        return static_cast<uint64_t>(std::max(time_s * 10 + 1e-6, 0.0)) >> doublings_;
    }
    uint64_t first_kept() const {
        uint64_t first = 0;
        while (number(last_s_) - first >= 600)
            first += 60;
        return first;
    }
    size_t steps() const { return number(last_s_) - first_kept() + 1; }

    // -> the least and the most of each step that is kept; empty when there is none in any
    std::pair<std::vector<double>, std::vector<double>> extremes(List list) const {
        std::vector<double> least(600, NAN), most = least;
        const uint64_t first = first_kept();
        bool any = false;
        for (const auto& [of, time_s, value] : values_) {
            if (of != list || number(time_s) < first) continue;
            any = true;
            const size_t step = number(time_s) - first;
            least[step] = std::fmin(least[step], value);
            most[step] = std::fmax(most[step], value);
        }
        if (!any) return {};
        return {least, most};
    }
    std::vector<uint64_t> events() const {
        std::vector<uint64_t> counts(600);
        const uint64_t first = first_kept();
        for (const auto& [of, time_s, value] : values_)
            if (of == kEvent && number(time_s) >= first) ++counts[number(time_s) - first];
        return counts;
    }
    std::vector<uint64_t> packets() const {
        std::vector<uint64_t> steps(600);
        const uint64_t first = first_kept();
        for (const Count& count : counts_)
            for (size_t i = 0; i < 600; ++i)
                steps[i] += before(count, first + i + 1) - before(count, first + i);
        return steps;
    }

  private:
    struct Value {
        List list;
        double time_s, value;
    };
    struct Count {
        double from_s, to_s;
        uint64_t packets;
    };

    // -> how many of them came before a step
    uint64_t before(const Count& count, uint64_t step) const {
        if (step <= number(count.from_s)) return 0;
        if (step > number(count.to_s)) return count.packets;
        const double part =
            (static_cast<double>(step) * step_s() - count.from_s) / (count.to_s - count.from_s);
        return static_cast<uint64_t>(std::llround(part * static_cast<double>(count.packets)));
    }

    const uint32_t span_s_;
    int doublings_ = 0;
    double last_s_ = 0;
    std::vector<Value> values_;
    std::vector<Count> counts_;
};

using Values = std::vector<double>;

// Equal, where nothing equals nothing.
void expect_same(const Values& kept, const Values& literal) {
    ASSERT_EQ(kept.size(), literal.size());
    for (size_t i = 0; i < kept.size(); ++i)
        EXPECT_TRUE(kept[i] == literal[i] || (std::isnan(kept[i]) && std::isnan(literal[i])))
            << kept[i] << ", not " << literal[i] << ", in step " << i;
}
void expect_same(const zv::survey::StepExtremes& kept, const std::pair<Values, Values>& literal) {
    // Values may have been there before.
    const bool none = literal.first.empty();
    if (none && kept.is_empty()) return;
    expect_same(kept.least, literal.first);
    expect_same(kept.most, literal.second);
}

// One history and its literal record, fed with the same.
class Twins {
  public:
    Twins(uint32_t span_s, bool live, uint32_t seed)
        : live_(live),
          random_(seed),
          span_s_(span_s),
          history_(pids_, {.rows = 1, .span_s = span_s}),
          literal_(span_s) {
        history_.see_pid(kPid);
        history_.see_pid(kWithoutRow);
    }

    void run(int rounds) {
        for (int i = 0; i < rounds; ++i) {
            pass_time(i);
            for (uint32_t values = random_() % 4; values > 0; --values)
                see_something();
            pids_[kPid].packets = pids_[kWithoutRow].packets += random_() % 100;
        }
        end();
    }

    void compare() {
        using L = LiteralRecord;
        ASSERT_EQ(history_.step_s(), literal_.step_s());
        ASSERT_EQ(history_.steps(), literal_.steps());
        EXPECT_NEAR(history_.start_s(),
                    static_cast<double>(literal_.first_kept()) * history_.step_s(),
                    1e-12 * history_.start_s());
        const auto intervals = literal_.extremes(L::kPcr), errors = literal_.extremes(L::kAccuracy);
        const bool has_pcrs = !intervals.first.empty() || !errors.first.empty();
        ASSERT_EQ(history_.pcrs().contains(kPid), has_pcrs);
        if (has_pcrs) {
            expect_same(history_.pcrs().at(kPid).intervals_ticks, intervals);
            expect_same(history_.pcrs().at(kPid).deviations_ns, errors);
        }
        const auto stamps = literal_.extremes(L::kPts), tables = literal_.extremes(L::kTable);
        ASSERT_EQ(history_.pts_ahead_s().contains(kPid), !stamps.first.empty());
        if (!stamps.first.empty()) expect_same(history_.pts_ahead_s().at(kPid), stamps);
        ASSERT_EQ(history_.table_intervals_s().contains({kPid, 2}), !tables.first.empty());
        if (!tables.first.empty())
            expect_same(history_.table_intervals_s().at({kPid, 2}), tables.second);
        const auto& events = history_.counts(Indicator::kCrcError);
        EXPECT_EQ(events.empty() ? zv::survey::StepCounts(600) : events, literal_.events());
        EXPECT_EQ(history_.packets().at(kPid).steps, literal_.packets());
        EXPECT_EQ(history_.other_packets(), literal_.packets());
    }

  private:
    static constexpr uint16_t kPid = 77, kWithoutRow = 78;

    // Mostly by little, at times by more than all that is kept. Times are exact.
    void pass_time(int round) {
        const double most = random_() % 40 == 0 ? 1000.0 * (span_s_ + 1) : 0.004 * (span_s_ + 50);
        const double before_s = now_s_;
        if (round > 0)
            now_s_ += std::floor(most * static_cast<double>(random_()) / 0x1p32 * 64) / 64;
        if (live_) {
            if (literal_.number(now_s_) > literal_.number(before_s)) count(before_s, before_s);
            history_.reach_live(before_s, now_s_);
        } else {
            if (literal_.number(now_s_) > literal_.number(counted_s_)) count(counted_s_, now_s_);
            history_.reach(now_s_);
        }
        literal_.reach(now_s_);
    }
    void count(double from_s, double to_s) {
        const uint64_t all = pids_[kPid].packets;
        literal_.count_packets(from_s, to_s, all - std::exchange(counted_, all));
        counted_s_ = to_s;
    }

    // Now or a while ago, be it too long, or later, as a gap is noticed before packets are counted.
    void see_something() {
        const double ago_s =
            random_() % 3 == 0 ? static_cast<double>(random_() % (span_s_ * 4)) : 0;
        const double later_s = random_() % 50 == 0 ? 4.0 * span_s_ + 100 : 0;
        const double time_s = now_s_ - ago_s + later_s,
                     value = static_cast<double>(random_() % 1000);
        const auto list = static_cast<LiteralRecord::List>(random_() % 5);
        literal_.see(list, time_s, value);
        if (list == LiteralRecord::kPcr) history_.see_pcr_interval(kPid, time_s, value);
        if (list == LiteralRecord::kAccuracy) history_.see_pcr_deviation(kPid, time_s, value);
        if (list == LiteralRecord::kPts) history_.see_pts_ahead(kPid, time_s, value);
        if (list == LiteralRecord::kTable) history_.see_table_interval(kPid, 2, time_s, value);
        if (list == LiteralRecord::kEvent) history_.see_count(Indicator::kCrcError, time_s);
    }

    void end() {
        count(live_ ? now_s_ : counted_s_, now_s_);
        live_ ? history_.end_live(now_s_) : history_.end(now_s_);
    }

    const bool live_;
    std::mt19937 random_;
    const uint32_t span_s_;
    zv::survey::Pids pids_;
    History history_;
    LiteralRecord literal_;
    double now_s_ = 0, counted_s_ = 0;
    uint64_t counted_ = 0;
};

TEST(SurveyWindow, HasWhatALiteralRecordHas) {
    uint32_t seed = 0;
    for (const uint32_t span_s : {1u, 54u, 55u, 60u, 3600u, 100'000u})
        for (int i = 0; i < 40 && !HasFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "span " << span_s << ", seed " << seed);
            Twins twins(span_s, i % 2 == 0, seed++);
            twins.run(static_cast<int>(seed * 37 % 900));
            twins.compare();
        }
}

}  // namespace
