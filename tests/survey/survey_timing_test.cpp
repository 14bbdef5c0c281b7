// SPDX-License-Identifier: MIT
// Time in the survey: the clock of the stream, PCR and PTS, and the indicators of ETSI TR 101 290 that
// need it. Streams have a packet each millisecond, so that every limit is met exactly and passed by
// one packet.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "support/counted_new.h"
#include "support/survey_run.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using Json = nlohmann::json;

constexpr double kTicks = 27e6;
constexpr int64_t kPcrRange = (int64_t{1} << 33) * 300;
constexpr int kPcrPid = 0x1C0, kOtherPcrPid = 0x1C1, kStrayPid = 0x555;
constexpr double kPlace = 0.001;

TsPacket table(int pid, int table_id, int extension = 1, int number = 0) {
    return TsPacket(pid).section(
        Section(table_id, table_head(extension) + Bytes{0, 1, 0, 1, 0, 0x4E}).number(number, 1));
}
TsPacket short_table(int pid, int table_id) {
    return TsPacket(pid).section(short_section(table_id, {0xE0, 0, 1, 2, 3}));
}
TsPacket tot() {
    return TsPacket(0x14).section(Section(0x73, {0xE0, 0, 1, 2, 3, 0xF0, 0}));
}
const TsPacket kPat = pat_packet({{1, kPmtPid}});
const TsPacket kPmt =
    TsPacket(kPmtPid).section(pmt(1, kPcrPid, {{0x1B, kVideoPid}, {0x0F, kAudioPid}}));

// What a clock says at a time.
struct PcrClock {
    double start_s = 100;
    double ppm = 0;
    double jump_at_s = 1e9, jump_s = 0;
    bool signalled = false;  // the jump
    int jitter_ticks = 0;    // on and back so that no line is tilted

    int64_t at(double time_s, int index) const {
        const double jumped = time_s >= jump_at_s ? jump_s : 0;
        const auto ticks = std::llround((start_s + jumped + time_s * (1 + ppm * 1e-6)) * kTicks) +
                           (index % 4 == 0 || index % 4 == 3 ? jitter_ticks : -jitter_ticks);
        return (ticks % kPcrRange + kPcrRange) % kPcrRange;
    }
};

// Packets at their times, null packets between them.
class Timeline {
  public:
    explicit Timeline(double seconds) : places_(place(seconds), TsPacket(0x1FFF)) {}

    // In the first free place from a time on.
    Timeline& put(double at_s, const TsPacket& packet) {
        size_t at = place(at_s);
        while (places_.at(at).pid() != 0x1FFF)
            ++at;
        return places_[at] = packet, *this;
    }
    Timeline& every(double period_s, const TsPacket& packet, double from_s = 0, double to_s = 1e9) {
        for (double at = from_s; at < std::min(to_s, end_s()) - kPlace / 2; at += period_s)
            put(at, packet);
        return *this;
    }
    Timeline& pcrs(int pid, const PcrClock& clock, double from_s = 0, double to_s = 1e9,
                   double period_s = 0.04) {
        int index = 0;
        for (double at = from_s; at < std::min(to_s, end_s()) - kPlace / 2; at += period_s)
            put(at, pcr(pid, clock, at, index++));
        return *this;
    }
    // Takes a PID's packets away between two times, and puts one at each.
    Timeline& only(double from_s, const TsPacket& from, double to_s, const TsPacket& to) {
        for (TsPacket& packet : places_)
            if (packet.pid() == from.pid() && &packet >= &places_[place(from_s)] &&
                &packet <= &places_[place(to_s)])
                packet = TsPacket(0x1FFF);
        places_[place(from_s)] = from;
        places_[place(to_s)] = to;
        return *this;
    }
    // Tables, PCRs and time stamps as they should be.
    Timeline& sound(const PcrClock& clock = {}) {
        every(0.1, kPat, 0).every(0.1, kPmt, 0.001).pcrs(kPcrPid, clock, 0.002);
        return every(0.1, TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts(0)), 0.003)
            .every(0.1, TsPacket(kAudioPid).start().payload(PesHeader(0xC0).pts(0)), 0.004);
    }

    Bytes bytes() const {
        TsStream stream;
        for (const TsPacket& packet : places_)
            stream.add(packet);
        return stream;
    }
    Json survey() const { return survey_of(bytes()); }

    static TsPacket pcr(int pid, const PcrClock& clock, double at_s, int index = 0) {
        const int64_t ticks = clock.at(at_s, index);
        TsPacket packet(pid);
        packet.adaptation(183).control(2);
        packet.pcr(static_cast<uint64_t>(ticks / 300), static_cast<int>(ticks % 300));
        const bool first_after = at_s >= clock.jump_at_s && at_s < clock.jump_at_s + 0.04 - 1e-9;
        return clock.signalled && first_after ? packet.discontinuity() : packet;
    }

  private:
    static size_t place(double at_s) { return static_cast<size_t>(std::lround(at_s / kPlace)); }
    double end_s() const { return static_cast<double>(places_.size()) * kPlace; }

    std::vector<TsPacket> places_;
};

Json indicator(const Json& survey, const std::string& id) {
    return entry(survey.at("tr101290"), {{"id", id}});
}
int count(const Json& survey, const std::string& id) {
    return indicator(survey, id).at("count");
}
Json pcr_of(const Json& survey, int pid) {
    return pid_of(survey, pid).at("pcr");
}

// 1504 bits a millisecond.
void expect_even_clock(const Json& survey, double seconds) {
    const Json& clock = survey.at("clock");
    EXPECT_EQ(clock.at("source"), "pcr");
    EXPECT_NEAR(clock.at("bit_rate_bps").get<double>(), 1504000, 100);
    EXPECT_NEAR(clock.at("duration_s").get<double>(), seconds, 1e-3);
    EXPECT_EQ(clock.at("constant_rate"), true);
}

TEST(SurveyClock, RunsOnOverTheWrapOfPcrAndPts) {
    const double wrap_s = static_cast<double>(kPcrRange) / kTicks;
    Timeline stream(6);
    const PcrClock clock = {.start_s = wrap_s - 3};
    stream.every(0.1, kPat).every(0.1, kPmt, 0.001).pcrs(kPcrPid, clock, 0.002);
    for (int i = 0; i < 29; ++i) {
        const double at = 0.05 + i * 0.2;  // stamped a quarter of a second ahead
        const auto dts = std::llround((clock.start_s + at + 0.25) * 90000) % (int64_t{1} << 33);
        stream.put(at, TsPacket(kVideoPid).start().payload(
                           PesHeader(0xE0).dts(static_cast<uint64_t>(dts)).pts(5)));
    }
    const Json survey = stream.survey();
    expect_even_clock(survey, 6);
    EXPECT_EQ(pcr_of(survey, kPcrPid).at("jumps"), 0);
    EXPECT_NEAR(pcr_of(survey, kPcrPid).at("interval_ms").at("max").get<double>(), 40, 1e-6);
    const Json pts = pid_of(survey, kVideoPid).at("pts");
    EXPECT_EQ(pts.at("dts_count"), 29);
    EXPECT_NEAR(pts.at("interval_ms").at("mean").get<double>(), 200, 1e-6);
    EXPECT_NEAR(pts.at("ahead_ms").at("min").get<double>(), 250, 0.02);
    EXPECT_NEAR(pts.at("ahead_ms").at("max").get<double>(), 250, 0.02);
    EXPECT_EQ(count(survey, "2.3.b"), 0);
}

TEST(SurveyClock, RunsOnOverJumpsSignalledOrNot) {
    for (const double jump_s : {10.0, -10.0, 1.2}) {
        for (const bool signalled : {false, true}) {
            const PcrClock clock = {.jump_at_s = 3, .jump_s = jump_s, .signalled = signalled};
            const Json survey = Timeline(6).sound(clock).survey();
            SCOPED_TRACE(std::to_string(jump_s) + (signalled ? " signalled" : ""));
            expect_even_clock(survey, 6);
            EXPECT_EQ(pcr_of(survey, kPcrPid).at("jumps"), signalled ? 0 : 1);
            EXPECT_EQ(pcr_of(survey, kPcrPid).at("signalled"), signalled ? 1 : 0);
            EXPECT_EQ(count(survey, "2.3.b"), signalled ? 0 : 1);
            EXPECT_EQ(count(survey, "2.3.a"), 0);  // by the clock nothing jumped
            EXPECT_EQ(pcr_of(survey, kPcrPid).at("interval_ms").at("max"), 40.0);
            EXPECT_EQ(pcr_of(survey, kPcrPid).at("drift_ppm"), nullptr);
        }
    }
}

TEST(SurveyClock, MeasuresJitterToTheNanosecond) {
    for (const int ticks : {8, 27}) {
        // 128 PCRs: two blocks.
        const Json survey = Timeline(128 * 0.04).pcrs(kPcrPid, {.jitter_ticks = ticks}).survey();
        const double ns = ticks * 1e9 / kTicks;
        const Json accuracy = pcr_of(survey, kPcrPid).at("accuracy_ns");
        EXPECT_NEAR(accuracy.at("max").get<double>(), ns, 0.01);
        EXPECT_NEAR(accuracy.at("min").get<double>(), -ns, 0.01);
        EXPECT_EQ(count(survey, "2.4"), ns > 500 ? 128 : 0);
    }
}

TEST(SurveyClock, ComparesPcrsInBlocksThatLossesAndJumpsEnd) {
    // 64 PCRs, a loss, 4 that are too few for a line, a loss, 8 that are enough.
    Timeline stream(76 * 0.04);
    stream.pcrs(kPcrPid, {.jitter_ticks = 27});
    for (const double at : {64 * 0.04 - 0.01, 68 * 0.04 - 0.01})
        stream.put(at, TsPacket(kStrayPid).cc(0)).put(at, TsPacket(kStrayPid).cc(5));
    EXPECT_EQ(count(stream.survey(), "2.4"), 64 + 8);
    EXPECT_EQ(pcr_of(stream.survey(), kPcrPid).at("drift_ppm"), nullptr);
}

TEST(SurveyClock, MeasuresTheDriftOfOtherClocks) {
    Timeline stream(6);
    stream.pcrs(kPcrPid, {}).pcrs(kOtherPcrPid, {.start_s = 7, .ppm = 30}, 0.013);
    const Json survey = stream.survey();
    EXPECT_NEAR(pcr_of(survey, kPcrPid).at("drift_ppm").get<double>(), 0, 0.01);
    EXPECT_NEAR(pcr_of(survey, kOtherPcrPid).at("drift_ppm").get<double>(), 30, 0.05);
}

TEST(SurveyClock, IsTakenOverWhenItsPidStaysAwayForMoreThanASecond) {
    // The clock's last PCR is at 2 s; the other PID has one at each multiple of a tenth.
    for (const bool comes_back : {true, false}) {
        Timeline stream(6);
        stream.pcrs(kPcrPid, {}, 0, 2.001).pcrs(kOtherPcrPid, {.start_s = 7}, 0.1, 1e9, 0.1);
        if (comes_back) stream.pcrs(kPcrPid, {}, 3.001);
        const Json survey = stream.survey();
        EXPECT_EQ(survey.at("clock").at("pcr_pid"), comes_back ? kPcrPid : kOtherPcrPid);
        EXPECT_NEAR(survey.at("clock").at("duration_s").get<double>(), 6, 1e-3);
        const Json event = entry(survey.at("events").at("list"), {{"kind", "clock_changed"}});
        if (comes_back) {
            EXPECT_EQ(event, nullptr);
        } else {
            EXPECT_NEAR(event.at("time_s").get<double>(), 3.101, 2e-3);
            EXPECT_EQ(pid_of(survey, 0x1FFF).at("last_s").get<double>() > 5.9, true);
        }
    }
}

TEST(SurveyClock, StaysWhereItIsForExactlyASecond) {
    TsStream stream;  // 40 ms a packet, which is no whole number of ticks a byte
    stream.add(Timeline::pcr(kPcrPid, {}, 0)).add(Timeline::pcr(kPcrPid, {}, 0.04));
    stream.add(0x1FFF, 6).add(Timeline::pcr(kOtherPcrPid, {}, 7)).add(0x1FFF, 17);
    stream.add(Timeline::pcr(kOtherPcrPid, {}, 7.72));
    EXPECT_EQ(survey_of(stream).at("clock").at("pcr_pid"), kPcrPid);
}

TEST(SurveyClock, MeasuresNoAccuracyAtAVariableRate) {
    // 40 ms each, in 30 or 50 packets, now and then 40.
    constexpr int kPackets[] = {40, 30, 50, 30, 50};
    for (const int intervals : {7, 8, 5000}) {
        TsStream even, uneven;
        for (int i = 0; i <= intervals; ++i) {
            const TsPacket pcr = Timeline::pcr(kPcrPid, {}, i * 0.04);
            even.add(pcr).add(0x1FFF, 39);
            uneven.add(pcr).add(0x1FFF, kPackets[i % 5] - 1);
        }
        const Json variable = survey_of(uneven), constant = survey_of(even);
        const bool enough = intervals >= 8;
        EXPECT_EQ(constant.at("clock").at("constant_rate"), enough ? Json(true) : Json());
        EXPECT_EQ(variable.at("clock").at("constant_rate"), enough ? Json(false) : Json());
        EXPECT_EQ(indicator(variable, "2.4").at("count"), nullptr);
        EXPECT_EQ(pcr_of(variable, kPcrPid).at("accuracy_ns"), nullptr);
        EXPECT_EQ(pcr_of(variable, kPcrPid).at("drift_ppm"), nullptr);
        EXPECT_EQ(indicator(constant, "2.4").at("measured"), enough);
    }
}

TEST(SurveyClock, ThatNeverComesLeavesEverythingTimedUnknown) {
    Timeline stream(2);
    stream.every(0.1, kPat).every(0.1, kPmt, 0.001).put(1, TsPacket(kStrayPid).cc(0));
    stream.put(1.5, TsPacket(kStrayPid).cc(7)).put(1.6, Timeline::pcr(kPcrPid, {}, 0));
    const Json survey = stream.survey();
    EXPECT_EQ(survey.at("clock"), (Json{{"source", "none"},
                                        {"pcr_pid", nullptr},
                                        {"duration_s", nullptr},
                                        {"bit_rate_bps", nullptr},
                                        {"constant_rate", nullptr}}));
    const std::vector<std::string> without = {"1.1", "1.2", "1.4", "2.1", "2.2", "2.3.b"};
    for (const Json& one : survey.at("tr101290")) {
        const bool measured = std::ranges::count(without, one.at("id").get<std::string>()) > 0;
        EXPECT_EQ(one.at("measured"), measured) << one;
        EXPECT_EQ(one.at("count").is_null(), !measured) << one;
        EXPECT_TRUE(one.at("first_s").is_null() && one.at("last_s").is_null()) << one;
    }
    EXPECT_EQ(count(survey, "1.4"), 1);
    EXPECT_EQ(entry(survey.at("events").at("list"), {{"indicator", "1.4"}}).at("time_s"), nullptr);
    const Json pid = pid_of(survey, 0);
    EXPECT_TRUE(pid.at("first_s").is_null() && pid.at("bit_rate_bps").is_null());
    EXPECT_EQ(entry(survey.at("tables"), {{"pid", 0}}).at("interval_ms"), nullptr);
}

// One limit: how it is set, and the two packets whose distance it bounds.
struct Limit {
    const char* id;
    double seconds;
    double ZvSurveyLimits::*option;
    TsPacket from, to;
};

std::vector<Limit> gap_limits() {
    using Z = ZvSurveyLimits;
    const TsPacket stamped = TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts(0));
    const TsPacket any_video = TsPacket(kVideoPid);
    return {
        {"1.3.a", 0.5, &Z::pat_s, kPat, kPat},
        {"1.5.a", 0.5, &Z::pmt_s, kPmt, kPmt},
        {"1.6", 5, &Z::pid_s, any_video, any_video},
        {"2.3.a", 0.1, &Z::pcr_repetition_s, TsPacket(kPcrPid), TsPacket(kPcrPid)},
        {"2.3.b", 0.1, &Z::pcr_discontinuity_s, TsPacket(kPcrPid), TsPacket(kPcrPid)},
        {"2.5", 0.7, &Z::pts_s, stamped, stamped},
        {"2.6", 0.5, &Z::cat_s, TsPacket(kStrayPid).scrambled(), table(1, 1)},
        {"3.1.a", 10, &Z::nit_actual_s, table(0x10, 0x40), table(0x10, 0x40)},
        {"3.1.b", 10, &Z::nit_other_s, table(0x10, 0x41), table(0x10, 0x41)},
        {"3.2", 10, &Z::bat_s, table(0x11, 0x4A), table(0x11, 0x4A)},
        {"3.2", 10, &Z::bat_s, table(0x11, 0x4A), table(0x11, 0x4A, 1, 1)},
        {"3.2", 30, &Z::tot_s, tot(), tot()},
        {"3.4.a", 0.5, &Z::unreferenced_s, TsPacket(kStrayPid), TsPacket(kStrayPid)},
        {"3.5.a", 2, &Z::sdt_actual_s, table(0x11, 0x42), table(0x11, 0x42)},
        {"3.5.b", 10, &Z::sdt_other_s, table(0x11, 0x46), table(0x11, 0x46)},
        {"3.6.a", 2, &Z::eit_actual_s, table(0x12, 0x4E), table(0x12, 0x4E)},
        {"3.6.b", 10, &Z::eit_other_s, table(0x12, 0x4F, 1, 1), table(0x12, 0x4F, 2, 1)},
        {"3.6.c", 2, &Z::eit_pf_s, table(0x12, 0x4E), table(0x12, 0x4E, 1, 1)},
        {"3.8", 30, &Z::tdt_s, short_table(0x14, 0x70), short_table(0x14, 0x70)},
    };
}

// A sound stream but for two packets of a PID, so far apart.
// ends  in  the second one comes; otherwise the stream ends where it would
Bytes gap_story(const Limit& limit, double gap_s, bool ends = true) {
    const double from = 0.602, to = from + gap_s;  // where a PCR is, too
    const auto at = [&](const TsPacket& packet, double time) {
        return packet.pid() == kPcrPid ? Timeline::pcr(kPcrPid, {}, time) : packet;
    };
    Timeline stream(to + (ends ? 0.04 : kPlace));
    stream.sound().only(from, at(limit.from, from), to, ends ? at(limit.to, to) : TsPacket(0x1FFF));
    return stream.bytes();
}

Json survey_with(const ZvSurveyOptions& options, const Bytes& bytes) {
    return SurveyRun(&options).feed(bytes).finish().json();
}

// As long as the limit is no gap; a packet longer is one, at its start plus the limit.
void expect_limit(const Limit& limit, double seconds) {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.limits.*limit.option = seconds;
    SCOPED_TRACE(std::string(limit.id) + " at " + std::to_string(seconds));
    EXPECT_EQ(count(survey_with(options, gap_story(limit, seconds)), limit.id), 0);
    const Json over = indicator(survey_with(options, gap_story(limit, seconds + kPlace)), limit.id);
    EXPECT_EQ(over.at("count"), 1);
    const bool at_end = std::string(limit.id).starts_with("2.3");  // when the interval is known
    const double found = 0.602 + seconds + (at_end ? kPlace : 0);
    EXPECT_NEAR(over.at("first_s").get<double>(), found, 1e-6);
    EXPECT_NEAR(over.at("last_s").get<double>(), found, 1e-6);
    if (at_end || std::string(limit.id) == "3.4.a") return;  // these need the second packet
    for (const double gap : {seconds, seconds + kPlace}) {
        const Json survey = survey_with(options, gap_story(limit, gap, false));
        EXPECT_EQ(count(survey, limit.id), gap > seconds ? 1 : 0);
    }
}

TEST(SurveyIndicators, CountGapsAboveEachLimit) {
    for (const Limit& limit : gap_limits())
        expect_limit(limit, limit.seconds);
}

// A packet a second, so that a year is no more than its days' seconds.
void let_a_year_pass(SurveyRun& run) {
    TsStream start;
    for (int second = 0; second < 3; ++second)
        start.add(Timeline::pcr(kPcrPid, {}, second));
    run.feed(Bytes(start));
    const Bytes hour = TsStream().add(0x1FFF, 3600);
    for (int i = 0; i < 365 * 24; ++i)
        run.feed(hour);
}

TEST(SurveyIndicators, AreAsExactAfterAYear) {
    SurveyRun run;
    let_a_year_pass(run);
    const auto added = [&](const std::string& id, const Bytes& stream) {
        const int before = count(run.json(), id);
        return count(run.feed(stream).json(), id) - before;
    };
    for (const Limit& limit : gap_limits()) {
        const std::string id = limit.id;
        // Once in a stream's life, or in every story because the table comes but once.
        if (id == "2.6" || id == "3.4.a" || id == "3.6.c") continue;
        SCOPED_TRACE(id);
        added(id, gap_story(limit, limit.seconds));  // what the last story did to it
        const int exactly = added(id, gap_story(limit, limit.seconds));
        EXPECT_GT(added(id, gap_story(limit, limit.seconds + kPlace)), exactly);
    }
    EXPECT_GT(indicator(run.json(), "2.3.a").at("last_s"), 365 * 24 * 3600);
}

TEST(SurveyIndicators, HaveLimitsThatHostsSet) {
    for (const Limit& limit : gap_limits())
        expect_limit(limit, std::max(limit.seconds / 4, limit.option == &ZvSurveyLimits::pid_s
                                                            ? 1.25  // shorter ones are refused
                                                            : 0.1));
}

TEST(SurveyIndicators, WaitForWhatAnyPartOfATableNames) {
    // From the first packet on for the PAT, from the PAT on for a PMT, from the PMT on for streams.
    Timeline stream(8);
    stream.pcrs(kPcrPid, {}).put(0.7, kPat).every(0.1, kPat, 0.8).put(2, kPmt);
    stream.every(0.1, kPmt, 2.1).put(7.5, TsPacket(kVideoPid));
    const Json survey = stream.survey();
    EXPECT_NEAR(indicator(survey, "1.3.a").at("first_s").get<double>(), 0.5, 1e-6);
    EXPECT_NEAR(indicator(survey, "1.5.a").at("first_s").get<double>(), 1.2, 2e-3);
    EXPECT_EQ(count(survey, "1.6"), 2);  // video that comes late, audio that never does
    EXPECT_NEAR(indicator(survey, "1.6").at("first_s").get<double>(), 7, 2e-3);
    EXPECT_EQ(count(survey, "2.5"), 0);  // no PTS came
}

TEST(SurveyIndicators, EndWaitsWithTheTableThatAsked) {
    // Sound comes once; from 1 s on a new PMT says that there is none.
    const TsPacket without =
        TsPacket(kPmtPid).section(pmt(1, kPcrPid, {{0x1B, kVideoPid}}).version(1));
    for (const bool ends : {false, true}) {
        Timeline stream(8);
        stream.every(0.1, kPat).every(0.1, kPmt, 0.001, 1).pcrs(kPcrPid, {}, 0.002);
        stream.every(0.1, ends ? without : kPmt, 1);
        stream.put(0.5, TsPacket(kAudioPid).start().payload(PesHeader(0xC0).pts(0)));
        stream.every(0.1, TsPacket(kVideoPid));
        const Json survey = stream.survey();
        EXPECT_EQ(count(survey, "1.6"), ends ? 0 : 1);
        EXPECT_EQ(count(survey, "2.5"), ends ? 0 : 1);
        EXPECT_EQ(count(survey, "3.4.a"), 0);  // it came before
    }
}

TEST(SurveyIndicators, CountSectionsTooClose) {
    const struct {
        const char* id;
        TsPacket packet;
    } tables[] = {{"3.1.a", table(0x10, 0x40)},
                  {"3.5.a", table(0x11, 0x42)},
                  {"3.6.a", table(0x12, 0x4E)},
                  {"3.7", short_table(0x13, 0x71)},
                  {"3.8", short_table(0x14, 0x70)}};
    for (const auto& [id, packet] : tables) {
        for (const double apart : {0.025, 0.024}) {
            Timeline stream(2);
            const Json found = indicator(
                stream.sound().put(1.006, packet).put(1.006 + apart, packet).survey(), id);
            EXPECT_EQ(found.at("count"), apart < 0.0245 ? 1 : 0) << id;
            if (apart < 0.0245) {
                EXPECT_NEAR(found.at("first_s").get<double>(), 1.03, 1e-6) << id;
            }
        }
    }
    // Another sub-table may follow at once.
    Timeline stream(2);
    stream.sound().put(1.006, table(0x12, 0x4E, 1)).put(1.007, table(0x12, 0x4E, 2));
    EXPECT_EQ(count(stream.survey(), "3.6.a"), 0);
}

TEST(SurveyIndicators, LeaveOutWhatIsSignalledOrNotInForce) {
    Timeline stream(3);
    const TsPacket signalled = Timeline::pcr(kPcrPid, {}, 1.602).discontinuity();
    stream.sound().only(1.002, Timeline::pcr(kPcrPid, {}, 1.002), 1.602, signalled);
    const TsPacket not_yet = TsPacket(0x11).section(Section(0x42, table_head(1)).not_current());
    stream.put(1.006, table(0x11, 0x42)).put(1.01, not_yet);
    const Json survey = stream.survey();
    EXPECT_EQ(count(survey, "2.3.a"), 0);
    EXPECT_EQ(count(survey, "2.3.b"), 0);
    EXPECT_EQ(count(survey, "3.5.a"), 0);
}

TEST(SurveyIndicators, CountTablesOnTheWrongPid) {
    const struct {
        const char* id;
        int pid;
        std::vector<int> allowed;
    } pids[] = {{"1.3.a", 0, {}},
                {"2.6", 1, {1}},
                {"3.1.a", 0x10, {0x40, 0x41, 0x72}},
                {"3.5.a", 0x11, {0x42, 0x46, 0x4A, 0x72}},
                {"3.6.a", 0x12, {0x4E, 0x4F, 0x50, 0x6F, 0x72}},
                {"3.7", 0x13, {0x71, 0x72}},
                {"3.8", 0x14, {0x70, 0x72}}};
    for (const auto& [id, pid, allowed] : pids) {
        Timeline stream(2);
        stream.sound();
        for (const int table_id : allowed)
            stream.put(1 + table_id * 0.001,
                       table_id > 0x6F ? short_table(pid, table_id) : table(pid, table_id));
        EXPECT_EQ(count(stream.survey(), id), 0) << id;
        stream.put(1.206, short_table(pid, 0x80)).put(1.25, table(pid, 0x3F));
        EXPECT_EQ(count(stream.survey(), id), 2) << id;
        EXPECT_NEAR(indicator(stream.survey(), id).at("first_s").get<double>(), 1.206, 1e-6) << id;
    }
}

TEST(SurveyIndicators, CountScrambledTables) {
    Timeline stream(2);
    stream.sound().put(0.95, table(1, 1)).put(1.006, TsPacket(0).scrambled());
    stream.put(1.007, TsPacket(kPmtPid).scrambled()).put(1.008, TsPacket(kVideoPid).scrambled());
    const Json survey = stream.survey();
    EXPECT_EQ(count(survey, "1.3.a"), 1);
    EXPECT_EQ(count(survey, "1.5.a"), 1);
    EXPECT_EQ(count(survey, "2.6"), 0);  // a CAT came before
}

TEST(SurveyIndicators, CountEachUnreferencedPidOnce) {
    Timeline stream(3);
    stream.sound();
    for (const int pid : {0x1F, 0x1FFB, kStrayPid, 0x556})
        stream.every(0.1, TsPacket(pid), 0.005);
    const Json found = indicator(stream.survey(), "3.4.a");
    EXPECT_EQ(found.at("count"), 2);
    EXPECT_NEAR(found.at("first_s").get<double>(), 0.507, 3e-3);
}

TEST(SurveyIndicators, EndTheWaitForPtsWithScrambling) {
    Timeline stream(4);
    stream.sound().only(1.003, TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts(0)), 3.003,
                        TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts(0)));
    EXPECT_EQ(count(stream.survey(), "2.5"), 1);
    stream.put(1.5, TsPacket(kVideoPid).scrambled());
    EXPECT_EQ(count(stream.survey(), "2.5"), 0);
}

TEST(SurveyIndicators, TellFirstAndLastAndEachEvent) {
    Timeline stream(6);
    stream.sound().only(1, kPat, 2, kPat).only(3, kPat, 3.7, kPat).only(4, kPat, 4.9, kPat);
    const Json survey = stream.survey();
    const Json pat = indicator(survey, "1.3.a");
    EXPECT_EQ(pat.at("count"), 3);
    EXPECT_NEAR(pat.at("first_s").get<double>(), 1.5, 1e-6);
    EXPECT_NEAR(pat.at("last_s").get<double>(), 4.5, 1e-6);
    std::vector<double> times;
    for (const Json& event : survey.at("events").at("list")) {
        if (event.at("indicator") != "1.3.a") continue;
        EXPECT_EQ(event.at("kind"), "PAT_error_2");
        EXPECT_EQ(event.at("pid"), 0);
        times.push_back(event.at("time_s"));
    }
    ASSERT_EQ(times.size(), 3);
    EXPECT_NEAR(times[1], 3.5, 1e-6);
}

// Twenty sections in each packet.
TsPacket many_sections() {
    Bytes sections{0};
    for (int i = 0; i < 20; ++i)
        append(sections, short_section(0x70, {0xE0, 0, 1, 2, 3}));
    return TsPacket(0x14).start().payload(sections);
}

TEST(SurveyIndicators, LeaveWhatOverflowsBeforeTheClockUnjudged) {
    TsStream stream;
    for (int i = 0; i < 4000; ++i)
        stream.add(i % 100 == 0 ? kPat : many_sections());
    for (int i = 0; i < 30; ++i)
        stream.add(Timeline::pcr(kPcrPid, {}, i * 0.04)).add(0x1FFF, 38).add(kPat);
    const Json survey = survey_of(stream);
    EXPECT_GT(survey.at("tr101290_left_out"), Json(3960 * 20 - 65536));
    EXPECT_GT(count(survey, "3.8"), 0);  // those that waited were judged: they are too close
    EXPECT_LT(count(survey, "3.8"), 65536);
    EXPECT_EQ(entry(survey.at("tables"), {{"table_id", 0x70}}).at("sections"), 3960 * 20);
    EXPECT_EQ(count(survey, "1.3.a"), 0);  // those of the PAT that were left out are no gap
}

void expect_bounded(int million_sections) {
    TsStream stream;
    for (int i = 0; i < 16 * 100; ++i)
        stream.add(many_sections());
    const Bytes bytes = stream;  // 32,000 sections, whose counters go on when repeated
    const size_t before = CountedNew::most_held = CountedNew::held;
    SurveyRun run;
    size_t held_early = 0;
    for (int64_t fed = 0; fed < million_sections * int64_t{1'000'000}; fed += 32000) {
        run.feed(bytes);
        if (fed == 320'000) held_early = CountedNew::most_held;
    }
    run.finish();
    EXPECT_LT(CountedNew::most_held - before, size_t{64} << 20);
    EXPECT_EQ(CountedNew::most_held, held_early);
    ZvSurveyTotals totals;
    ASSERT_EQ(zvsurvey_totals(*run, &totals, sizeof totals), 1);
    EXPECT_GT(totals.unjudged, (static_cast<uint64_t>(million_sections) - 1) * 1'000'000);
    testing::Test::RecordProperty("most_held", std::to_string(CountedNew::most_held - before));
}

TEST(SurveyMemory, IsBoundedWithoutAClock) {
    expect_bounded(2);
}

TEST(SurveyMemory, DISABLED_IsBoundedForAHundredMillionSections) {
    expect_bounded(100);
}

// Seven packets a datagram, each at the time of its first packet.
class LiveRun {
  public:
    explicit LiveRun(const Bytes& bytes) {
        constexpr size_t kDatagram = 7 * 188;
        for (size_t at = 0; at < bytes.size(); at += kDatagram)
            feed(at / 188 * 1000,
                 std::span(bytes).subspan(at).first(std::min(kDatagram, bytes.size() - at)));
    }
    LiveRun& feed(uint64_t now_us, std::span<const uint8_t> bytes) {
        EXPECT_EQ(zvsurvey_feed_at(*run_, bytes.data(), bytes.size(), now_us), 0);
        return *this;
    }
    LiveRun& tick(double now_s) {
        return zvsurvey_tick(*run_, static_cast<uint64_t>(now_s * 1e6)), *this;
    }
    Json json() const { return run_.json(); }
    Json finish() { return run_.finish().json(); }

  private:
    SurveyRun run_;
};

// A fault for every indicator that can be measured, gaps longer than their limits by more than a
// datagram lasts.
Timeline faulty_stream() {
    Timeline stream(45);
    const PcrClock clock = {.jump_at_s = 5, .jump_s = 10};
    stream.sound(clock).only(1, kPat, 1.8, kPat).only(2.001, kPmt, 2.7, kPmt);
    stream.only(3, TsPacket(0x1FF0), 3.2, TsPacket(kPcrPid))
        .put(4.5, TsPacket(0).transport_error());
    stream.put(4.6, TsPacket(0x1FF0).cc(9)).every(0.3, TsPacket(kStrayPid), 6);
    stream.put(6.1, TsPacket(kStrayPid).scrambled());
    stream.put(7, TsPacket(kPmtPid).section(pmt(1, kPcrPid, {}).break_crc()));
    stream.only(8.003, TsPacket(kVideoPid), 14, TsPacket(kVideoPid));
    for (const TsPacket& packet :
         {table(0x10, 0x40), table(0x10, 0x41), table(0x11, 0x4A), table(0x11, 0x42),
          table(0x11, 0x46), table(0x12, 0x4E), table(0x12, 0x4F), short_table(0x14, 0x70), tot()})
        stream.put(9, packet).put(40.5, packet);
    return stream.put(10, short_table(0x13, 0x70));
}

TEST(SurveyLive, CountsWhatAFileWouldBringAtItsOwnPace) {
    const Bytes bytes = faulty_stream().bytes();
    const Json file = survey_of(bytes), live = LiveRun(bytes).finish();
    EXPECT_EQ(live.at("clock").at("source"), "arrival");
    EXPECT_EQ(live.at("clock").at("pcr_pid"), nullptr);
    EXPECT_NEAR(live.at("clock").at("bit_rate_bps").get<double>(), 1504000, 3000);
    size_t counted = 0;
    for (const Json& expected : file.at("tr101290")) {
        const std::string id = expected.at("id");
        const Json found = indicator(live, id);
        if (id == "2.4") {  // arrival tells nothing of how exact a PCR is
            EXPECT_EQ(found.at("measured"), false);
            continue;
        }
        EXPECT_EQ(found.at("count"), expected.at("count")) << id;
        counted += expected.at("count") > Json(0);
        // Packets of one datagram arrive at once.
        if (expected.at("first_s").is_null()) continue;
        EXPECT_NEAR(found.at("first_s").get<double>(), expected.at("first_s").get<double>(), 0.0071)
            << id;
    }
    EXPECT_GE(counted, 20);
}

TEST(SurveyLive, SeesSectionsOfOneDatagramAtOnce) {
    // 25 ms apart in the stream, 21 ms by the arrival of their datagrams.
    Timeline stream(2);
    stream.sound().put(1.015, table(0x11, 0x42)).put(1.04, table(0x11, 0x42));
    EXPECT_EQ(count(stream.survey(), "3.5.a"), 0);
    EXPECT_EQ(count(LiveRun(stream.bytes()).finish(), "3.5.a"), 1);
}

TEST(SurveyLive, RaisesAGapWhenItPassesItsLimitAlthoughNothingComes) {
    Timeline stream(1);
    LiveRun live(stream.sound().bytes());  // the last PAT came at 0.896 s
    EXPECT_EQ(count(live.tick(1.3).json(), "1.3.a"), 0);
    const Json raised = live.tick(1.41).json();
    EXPECT_EQ(count(raised, "1.3.a"), 1);
    EXPECT_NEAR(indicator(raised, "1.3.a").at("first_s").get<double>(), 1.396, 1e-6);
    EXPECT_EQ(count(live.tick(9).json(), "1.3.a"), 1);
    const Bytes pat = kPat.build();
    EXPECT_EQ(count(live.feed(9'100'000, pat).json(), "1.3.a"), 1);
    EXPECT_EQ(count(live.tick(9.7).json(), "1.3.a"), 2);
    EXPECT_EQ(count(live.tick(5).json(), "1.3.a"), 2);  // late
}

}  // namespace
