// SPDX-License-Identifier: MIT
// The history of a stream: what is in its steps, that they add up to the totals, and that they never
// become more than 600.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "support/even_stream.h"
#include "support/history_check.h"
#include "support/survey_run.h"
#include "support/test_media.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using Json = nlohmann::json;

ZvSurveyOptions with_history() {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.history = 1;
    return options;
}

Json survey_with_history(const Bytes& bytes) {
    const ZvSurveyOptions options = with_history();
    const Json survey = SurveyRun(&options).feed(bytes).finish().json();
    EXPECT_EQ(HistoryCheck(survey).run(), "");
    return survey;
}
Json history_of(const Bytes& bytes) {
    return survey_with_history(bytes).at("history");
}

const Json& row(const Json& list, int pid) {
    for (const Json& candidate : list)
        if (candidate.at("pid") == pid) return candidate;
    throw std::runtime_error("no row of PID " + std::to_string(pid));
}

TEST(SurveyHistory, AddsUpToTheTotals) {
    for (const char* name :
         {"single.ts", "single-192.m2ts", "single-204.ts", "three-programs.ts", "eight-streams.ts"})
        EXPECT_EQ(history_of(load_media(name)).at("step_s"), 0.1) << name;
    const Json history = history_of(even_stream(3000, eventful));
    EXPECT_EQ(history.at("steps"), 300);
    EXPECT_EQ(history.at("pts").size(), 2);
    EXPECT_EQ(history.at("tables").size(), 2);
    EXPECT_GE(history.at("events").size(), 3) << history.at("events");
    EXPECT_NE(row(history.at("pcr"), kPcrPid).at("accuracy_ns"), nullptr);
}

TEST(SurveyHistory, PutsWhatCameIntoItsStep) {
    // A burst from 3 s to 4 s, a lost packet at 7.04 s, a PTS that is late at 9.01 s.
    const Json survey = survey_with_history(even_stream(1200, [](int i) -> std::optional<TsPacket> {
        if (i >= 300 && i < 400) return TsPacket(0x300);
        if (i == 601 || i == 704) return TsPacket(0x301).cc(i);
        if (i % 10 == 1) return pat_packet({{1, kPmtPid}});
        if (i % 10 == 2) return TsPacket(kPmtPid).section(pmt(1, kPcrPid, {{0x1B, kVideoPid}}));
        if (i % 10 == 3) return stamped(kVideoPid, i * 0.01 + (i == 903 ? -2 : 1));
        return std::nullopt;
    }));
    const Json& history = survey.at("history");
    EXPECT_EQ(history.at("steps"), 120);
    const Json burst = row(history.at("packets"), 0x300).at("packets");
    for (size_t step = 0; step < burst.size(); ++step)
        EXPECT_EQ(burst[step], step >= 30 && step < 40 ? 8 : 0) << step;
    const Json lead = row(history.at("pts"), kVideoPid).at("ahead_ms");
    EXPECT_NEAR(lead.at("min")[90].get<double>(), -2000, 0.1);
    EXPECT_NEAR(lead.at("max")[89].get<double>(), 1000, 0.1);
    EXPECT_NEAR(lead.at("min")[89].get<double>(), 1000, 0.1);
    const Json counted = entry(history.at("events"), {{"number", "1.4"}}).at("counts");
    EXPECT_EQ(counted[70], 1);
    const Json tables = row(history.at("tables"), 0).at("interval_ms").at("max");
    EXPECT_NEAR(tables[1].get<double>(), 100, 0.01);
    EXPECT_EQ(tables[0], nullptr);
    EXPECT_NEAR(tables[40].get<double>(), 1100, 0.01) << "the burst left no room for the PAT";
}

// What two steps of a finer history make.
Json joined(const Json& a, const Json& b, const std::string& name) {
    if (a.is_null() || b.is_null()) return a.is_null() ? b : a;
    if (name == "min") return std::min(a, b);
    return name == "max" ? std::max(a, b) : Json(a.get<uint64_t>() + b.get<uint64_t>());
}
void expect_joined(const Json& fine, const Json& coarse, const std::string& name) {
    if (fine.is_object()) {
        for (const auto& [member, value] : fine.items())
            expect_joined(value, coarse.at(member), member);
        return;
    }
    if (!fine.is_array()) return;
    if (fine.empty() || fine[0].is_object()) {
        ASSERT_EQ(fine.size(), coarse.size()) << name;
        for (size_t i = 0; i < fine.size(); ++i)
            expect_joined(fine[i], coarse[i], name);
        return;
    }
    // Where the shorter stream ends, packets are counted at another place.
    for (size_t step = 0; 2 * step + 3 < fine.size(); ++step)
        EXPECT_EQ(coarse.at(step), joined(fine[2 * step], fine[2 * step + 1], name)) << name;
}

TEST(SurveyHistory, MakesOneStepOfTwoWhenTheyRunOut) {
    const Json fine = history_of(even_stream(6000, eventful));
    const Json coarse = history_of(even_stream(6010, [](int i) {
        return i < 6000 ? eventful(i) : std::nullopt;  // 0.1 s more
    }));
    EXPECT_EQ(fine.at("steps"), 600);
    EXPECT_EQ(fine.at("step_s"), 0.1);
    EXPECT_EQ(coarse.at("steps"), 301);
    EXPECT_EQ(coarse.at("step_s"), 0.2);
    for (const char* list : {"packets", "pts", "tables", "events"})
        expect_joined(fine.at(list), coarse.at(list), list);
    const Json &fine_pcr = row(fine.at("pcr"), kPcrPid),
               coarse_pcr = row(coarse.at("pcr"), kPcrPid);
    expect_joined(fine_pcr.at("interval_ms"), coarse_pcr.at("interval_ms"), "");
}

TEST(SurveyHistory, OfADayHasStepsOfMinutes) {
    TsStream stream;
    for (int i = 0; i < 86400; ++i)
        stream.add(i % 10 == 9 ? TsPacket(kVideoPid) : pcr_packet(kPcrPid, i));
    const Json survey = survey_with_history(stream);
    const Json& history = survey.at("history");
    EXPECT_EQ(history.at("step_s"), 0.1 * 2048);
    EXPECT_EQ(history.at("steps"), std::ceil(86400 / 204.8));
    const Json packets = row(history.at("packets"), kVideoPid).at("packets");
    for (size_t step = 0; step + 1 < packets.size(); ++step)
        EXPECT_NEAR(packets[step].get<double>(), 20.48, 1.5) << step;
}

TEST(SurveyHistory, DoesNotDependOnTheCuts) {
    const ZvSurveyOptions options = with_history();
    std::mt19937 random(19);
    for (const Bytes& bytes : {even_stream(7000, eventful), load_media("three-programs.ts"),
                               load_media("single-192.m2ts")}) {
        const std::string whole = SurveyRun(&options).feed(bytes).finish().text();
        EXPECT_EQ(SurveyRun(&options).feed(bytes, 1).finish().text(), whole);
        SurveyRun cut(&options);
        for (size_t at = 0; at < bytes.size();) {
            const size_t size = std::min<size_t>(random() % 5000, bytes.size() - at);
            cut.feed(std::span(bytes).subspan(at, size));
            at += size;
            if (random() % 8 == 0) {
                EXPECT_TRUE(Json::accept(cut.text()));
            }
        }
        EXPECT_EQ(cut.finish().text(), whole);
    }
}

TEST(SurveyHistory, WithoutAClockIsEmptyAndWithoutTheOptionAbsent) {
    TsStream stream = one_programme();
    const Json history = history_of(stream.add(kVideoPid, 20).skip(kVideoPid, 1).add(kVideoPid, 9));
    EXPECT_EQ(history, (Json{{"start_s", 0.0},
                             {"step_s", 0.1},
                             {"steps", 0},
                             {"packets", Json::array()},
                             {"other_packets", nullptr},
                             {"pcr", Json::array()},
                             {"pts", Json::array()},
                             {"tables", Json::array()},
                             {"events", Json::array()}}));
    SurveyRun without;
    without.feed(load_media("single.ts")).finish();
    EXPECT_FALSE(without.json().contains("history"));
    ZvSurveyHistory record;
    EXPECT_EQ(zvsurvey_history(*without, &record, sizeof record), 0);
    ZvSurveyHistoryPackets packets;
    EXPECT_EQ(zvsurvey_history_packets(*without, 0, &packets, sizeof packets), 0);
}

TEST(SurveyHistory, HasRowsForTheFirstOfVeryManyPids) {
    TsStream stream;
    stream.add(pcr_packet(kPcrPid, 0)).add(pat_packet({{1, kPmtPid}}));
    std::vector<PmtStream> streams;
    for (int i = 0; i < 600; ++i)
        streams.push_back({0x06, 0x400 + i});
    stream.add_section(kPmtPid, pmt(1, kPcrPid, streams));
    double time_s = 0;
    for (int round = 0; round < 3; ++round) {
        for (int pid = 0x1FFE; pid > 0x20; --pid) {
            if (pid == kPmtPid || pid == kPcrPid) continue;
            if (pid % 100 == 0) stream.add(pcr_packet(kPcrPid, time_s += 0.005));
            const bool has_pts = pid >= 0x400 && pid < 0x400 + 600;
            stream.add(has_pts ? stamped(pid, time_s) : pcr_packet(pid, time_s));
        }
        for (int table_id = 0x80; table_id < 0x80 + 2; ++table_id)
            for (int pid = 0x10; pid <= 0x14; ++pid)
                stream.add(TsPacket(pid).section(short_section(table_id, {1, 2})));
    }
    const Json history = history_of(stream);
    EXPECT_EQ(history.at("packets").size(), 1024);
    EXPECT_EQ(history.at("pcr").size(), 256);
    EXPECT_EQ(history.at("pts").size(), 512);
    EXPECT_GT(history.at("pcr_left_out"), 10'000);
    EXPECT_EQ(history.at("pts_left_out"), (600 - 512) * 3);
    EXPECT_EQ(history.at("packets")[0].at("pid"), 0) << "ascending, whatever came first";
    EXPECT_EQ(history.at("packets").back().at("pid"), 0x1FFE);

    ZvSurveyOptions options = with_history();
    options.history_rows = 10;
    const Json survey = SurveyRun(&options).feed(stream.bytes()).finish().json();
    const Json& few = survey.at("history");
    for (const char* const list : {"packets", "pcr", "pts", "tables"})
        EXPECT_EQ(few.at(list).size(), 10) << list;
    uint64_t packets = 0;
    for (size_t step = 0; step < few.at("steps"); ++step) {
        packets += few.at("other_packets")[step].get<uint64_t>();
        for (const Json& row : few.at("packets"))
            packets += row.at("packets")[step].get<uint64_t>();
    }
    EXPECT_EQ(packets, survey.at("packets")) << "what has no row is counted all the same";
}

// -> datagrams of seven packets at times, and what came of them
Json live_history(std::initializer_list<double> times_s, double tick_s) {
    const ZvSurveyOptions options = with_history();
    SurveyRun run(&options);
    TsStream stream;
    size_t fed = 0;
    for (const double at : times_s) {
        stream.add(kVideoPid, 7);
        const auto datagram = std::span(stream.bytes()).subspan(fed);
        fed = stream.bytes().size();
        EXPECT_EQ(zvsurvey_feed_at(*run, datagram.data(), datagram.size(),
                                   static_cast<uint64_t>(at * 1e6) + 5'000'000),
                  0);
    }
    zvsurvey_tick(*run, static_cast<uint64_t>(tick_s * 1e6) + 5'000'000);
    const Json survey = run.finish().json();
    EXPECT_EQ(HistoryCheck(survey).run(), "");
    return survey.at("history");
}

TEST(SurveyHistory, LiveCountsPacketsWhenTheyArriveAndSilenceAsNone) {
    const Json history = live_history({0, 0.05, 0.12, 0.31, 0.32, 0.9}, 1.15);
    EXPECT_EQ(history.at("packets"),
              (Json{{{"pid", kVideoPid}, {"packets", {14, 7, 0, 14, 0, 0, 0, 0, 0, 7, 0, 0}}}}));
    EXPECT_EQ(live_history({0, 0.05, 0.12}, 0.13).at("packets")[0].at("packets"), (Json{14, 7}));
    const double year_s = 365.25 * 86400;
    const Json long_one = live_history({0, 0, year_s / 2, year_s}, year_s + 7 * 86400);
    EXPECT_EQ(long_one.at("step_s"), 0.1 * (1 << 20));
    EXPECT_EQ(long_one.at("packets")[0].at("packets")[150], 7);
    EXPECT_EQ(long_one.at("steps"), 307);
}

// One array of a row beside the JSON's.
void expect_values(const double* values, const Json& json, double unit) {
    ASSERT_EQ(values == nullptr, json.is_null());
    for (size_t i = 0; i < json.size(); ++i) {
        if (json[i].is_null())
            EXPECT_TRUE(std::isnan(values[i]));
        else
            EXPECT_NEAR(values[i] * unit, json[i].get<double>(), 1e-9);
    }
}
void expect_counts(const uint64_t* counts, const Json& json) {
    EXPECT_EQ(std::vector<uint64_t>(counts, counts + json.size()), json);
}

TEST(SurveyHistory, IsTheSameInRecords) {
    const ZvSurveyOptions options = with_history();
    SurveyRun run(&options);
    const Json history = run.feed(even_stream(7000, eventful)).finish().json().at("history");
    ZvSurveyHistory all;
    ASSERT_EQ(zvsurvey_history(*run, &all, sizeof all), 1);
    EXPECT_EQ(all.start_s, 0);
    EXPECT_EQ(all.step_s, history.at("step_s"));
    EXPECT_EQ(all.steps, history.at("steps"));
    EXPECT_EQ(all.other_packets, nullptr);
    size_t i = 0;
    ZvSurveyHistoryPackets packets;
    for (; zvsurvey_history_packets(*run, i, &packets, sizeof packets) == 1; ++i) {
        EXPECT_EQ(packets.pid, history.at("packets").at(i).at("pid"));
        expect_counts(packets.packets, history.at("packets").at(i).at("packets"));
    }
    EXPECT_EQ(i, all.packet_rows);
    EXPECT_EQ(i, history.at("packets").size());
    ZvSurveyHistoryPcr pcr;
    ASSERT_EQ(zvsurvey_history_pcr(*run, 0, &pcr, sizeof pcr), 1);
    EXPECT_EQ(zvsurvey_history_pcr(*run, all.pcr_rows, &pcr, sizeof pcr), 0);
    const Json& pcr_row = history.at("pcr").at(0);
    expect_values(pcr.interval_min_s, pcr_row.at("interval_ms").at("min"), 1e3);
    expect_values(pcr.interval_max_s, pcr_row.at("interval_ms").at("max"), 1e3);
    expect_values(pcr.accuracy_min_ns, pcr_row.at("accuracy_ns").at("min"), 1);
    expect_values(pcr.accuracy_max_ns, pcr_row.at("accuracy_ns").at("max"), 1);
    ZvSurveyHistoryPts pts;
    for (i = 0; zvsurvey_history_pts(*run, i, &pts, sizeof pts) == 1; ++i) {
        expect_values(pts.ahead_min_s, history.at("pts").at(i).at("ahead_ms").at("min"), 1e3);
        expect_values(pts.ahead_max_s, history.at("pts").at(i).at("ahead_ms").at("max"), 1e3);
    }
    EXPECT_EQ(i, all.pts_rows);
    ZvSurveyHistoryTable table;
    for (i = 0; zvsurvey_history_table(*run, i, &table, sizeof table) == 1; ++i) {
        EXPECT_EQ(table.table_id, history.at("tables").at(i).at("table_id"));
        expect_values(table.interval_max_s, history.at("tables").at(i).at("interval_ms").at("max"),
                      1e3);
    }
    EXPECT_EQ(i, all.table_rows);
    ZvSurveyHistoryEvents events;
    for (i = 0; zvsurvey_history_events(*run, i, &events, sizeof events) == 1; ++i) {
        EXPECT_EQ(events.id, history.at("events").at(i).at("number"));
        expect_counts(events.counts, history.at("events").at(i).at("counts"));
    }
    EXPECT_EQ(i, all.event_rows);
    EXPECT_GE(i, 3u);
}

}  // namespace
