// SPDX-License-Identifier: MIT
// `zvprobe pace` by a clock that the test sets: packets go at their time by the stream's own, and a
// stream that is sent again goes on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/survey_run.h"
#include "support/ts_builder.h"
#include "support/windowed_source.h"
#include "ts/play/clock_pacer.h"
#include "ts/play/stream_play.h"

namespace {

using namespace zvtest;
using nlohmann::json;
using zvprobe::ClockPacer;

// What was sent, and when, in stream time.
struct Played {
    std::vector<std::pair<double, size_t>> runs;  // time, packets; -1: without waiting
    double now = -1;
    double stop_at = 1e9;
    ClockPacer pacer{[this](std::span<const uint8_t> packets, double) {
                         runs.emplace_back(std::exchange(now, -1), packets.size() / 188);
                     },
                     [this](double time_s) {
                         now = time_s;
                         return time_s < stop_at;
                     }};

    void take(size_t count, uint64_t offset) { pacer.take(Bytes(count * 188), offset, 188); }
};

TEST(ClockPacer, SendsSevenWhenTheFirstOfThemIsDue) {
    Played played;
    played.take(10, 0);
    EXPECT_TRUE(played.runs.empty()) << "no time is known yet";
    played.pacer.take({0, 0, 0.001, 7 * 188});
    played.take(3, 10 * 188);
    ASSERT_EQ(played.runs.size(), 1u) << "the second seven are not complete";
    EXPECT_EQ(played.runs[0], std::make_pair(0.0, size_t{7}));
    played.take(2, 13 * 188);
    ASSERT_EQ(played.runs.size(), 2u);
    EXPECT_DOUBLE_EQ(played.runs[1].first, 7 * 188 * 0.001);
    // The next line is faster; a place on it may lie before the place it is told by.
    played.pacer.take({20 * 188, 5.0, 0.0005, 20 * 188});
    played.pacer.finish();
    ASSERT_EQ(played.runs.size(), 3u);
    EXPECT_DOUBLE_EQ(played.runs[2].first, 5.0 - 6 * 188 * 0.0005);
    EXPECT_EQ(played.runs[2].second, 1u);
}

TEST(ClockPacer, SendsWithoutWaitingWhereNoClockComes) {
    Played played;
    played.take(3, 0);
    played.pacer.finish();
    EXPECT_EQ(played.runs.at(0), std::make_pair(-1.0, size_t{3}));

    Played endless;
    for (uint64_t at = 0; at <= ClockPacer::kMostHeld; at += 188 * 7)
        endless.take(7, at);
    EXPECT_GT(endless.runs.size(), 3000u) << "what is held has a bound";
}

TEST(ClockPacer, SendsNothingMoreOnceItIsStopped) {
    Played played;
    played.stop_at = 0.5;
    played.pacer.take({0, 0, 0.001, 1'000'000});
    played.take(70, 0);
    played.pacer.finish();
    EXPECT_EQ(played.runs.size(), 1u);
}

constexpr uint64_t kTicksPerPacket = 27'001;  // a millisecond, and no multiple of 300
constexpr uint64_t kPcrWrap = (uint64_t{1} << 33) * 300;

struct StreamOptions {
    uint64_t packets = 977;  // no multiple of any period
    uint64_t jump_at = UINT64_MAX;
    uint64_t slow_from = UINT64_MAX;  // half the rate from there on
    bool clock = true;
};

TsPacket with_pcr(int pid, uint64_t packet, const StreamOptions& options) {
    uint64_t ticks = kPcrWrap - 27'000'000 + packet * kTicksPerPacket;  // wraps after a second
    if (packet > options.slow_from) ticks += (packet - options.slow_from) * kTicksPerPacket;
    if (packet >= options.jump_at) ticks += 3600 * uint64_t{27'000'000};
    ticks %= kPcrWrap;
    TsPacket out(pid);
    if (pid == 0x101) out.adaptation(183).control(2);  // no payload: its counter stands still
    return out.pcr(ticks / 300, static_cast<int>(ticks % 300));
}

// Constant rate, two programmes; video with PTS and DTS that wrap, too, and repeated packets.
Bytes make_stream(const StreamOptions& options) {
    TsStream stream;
    const auto stamp = [](uint64_t packet) {
        return ((uint64_t{1} << 33) - 45'000 + packet * 90) % (uint64_t{1} << 33);
    };
    for (uint64_t i = 0; i < options.packets; ++i) {
        if (i % 100 == 0) {
            stream.add(pat_packet({{1, 0x1000}, {2, 0x1001}}));
        } else if (i % 100 == 1 || i % 100 == 2) {
            const int n = static_cast<int>(i % 100) - 1;
            stream.add(TsPacket(0x1000 + n).section(pmt(n + 1, 0x100 + n, {{0x1B, 0x100 + n}})));
        } else if (i % 30 == 3 && options.clock) {
            stream.add(with_pcr(0x100 + static_cast<int>(i / 30 % 2), i, options));
        } else if (i % 40 == 4) {
            const Bytes pes = PesHeader(0xE0).pts(stamp(i + 200)).dts(stamp(i + 160));
            stream.add(TsPacket(0x100).start().payload(pes));
        } else if (i % 50 == 7) {
            const int counter = static_cast<int>(i / 50);
            stream.add(TsPacket(0x102).cc(counter)).add(TsPacket(0x102).cc(counter));
            ++i;
        } else if (i % 50 == 39) {
            stream.add(TsPacket(0x101));
        } else {
            stream.add(TsPacket(i % 3 == 0 ? 0x1FFF : 0x100));
        }
    }
    return stream;
}

struct Looped {
    explicit Looped(const Bytes& stream, int passes) {
        zvprobe::StreamPlay play({[this](std::span<const uint8_t> packets, double time_s) {
                                      EXPECT_EQ(time_s, now);
                                      times.push_back(time_s);
                                      bytes.insert(bytes.end(), packets.begin(), packets.end());
                                  },
                                  [this](double time_s) { return now = time_s, true; },
                                  [] { return false; },
                                  {}});
        for (int pass = 0; pass < passes; ++pass) {
            if (pass > 0) goes_on = play.prepare_next();
            WindowedSource source(stream, Kind::kFile, 4000, 1000);
            EXPECT_TRUE(play.play(source));
        }
        play.finish();
    }

    Bytes bytes;
    std::vector<double> times;
    double now = 0;
    bool goes_on = true;
};

uint64_t count_of(const json& survey, const char* indicator) {
    return entry(survey["tr101290"], {{"id", indicator}})["count"];
}

TEST(Loop, IsOneStreamOfConstantRateToItsReceiver) {
    const Bytes stream = make_stream({});
    constexpr int kPasses = 40;  // of a second each: all clocks wrap
    const Looped looped(stream, kPasses);
    ASSERT_EQ(looped.bytes.size(), kPasses * stream.size());
    EXPECT_TRUE(std::ranges::equal(std::span(looped.bytes).first(stream.size()), stream));
    const json survey = survey_of(looped.bytes);
    EXPECT_EQ(survey["clock"]["constant_rate"], true);
    for (const char* indicator : {"1.4", "2.3.b", "2.4", "2.5"})
        EXPECT_EQ(count_of(survey, indicator), 0u) << indicator;
    for (const int pid : {0x100, 0x101}) {
        const json facts = pid_of(survey, pid);
        EXPECT_EQ(facts["continuity"]["signalled"], 0) << pid;
        EXPECT_LT(std::abs(facts["pcr"]["drift_ppm"].get<double>()), 0.01) << pid;
    }
    // Time stamps keep their distance from the clock, to a tick of 90 kHz.
    const json ahead = pid_of(survey, 0x100)["pts"]["ahead_ms"];
    const json once = pid_of(survey_of(stream), 0x100)["pts"]["ahead_ms"];
    EXPECT_NEAR(ahead["min"].get<double>(), once["min"].get<double>(), 0.012);
    EXPECT_NEAR(ahead["max"].get<double>(), once["max"].get<double>(), 0.012);
    // And the datagrams go at an even pace.
    for (size_t i = 1; i < looped.times.size(); ++i)
        ASSERT_NEAR(looped.times[i] - looped.times[i - 1], 7 * kTicksPerPacket / 27e6, 1e-6) << i;
}

TEST(Loop, TakesAsLongInEachPassWhateverTheRate) {
    constexpr size_t kRuns = 140;
    const Bytes stream = make_stream({.packets = 7 * kRuns, .slow_from = 483});
    const auto times = Looped(stream, 3).times;
    ASSERT_EQ(times.size(), 3 * kRuns);
    const double duration = times[kRuns] - times[0];
    EXPECT_NEAR(duration, (2 * 980 - 483) * (kTicksPerPacket / 27e6), 1e-6);
    for (size_t i = 0; i < 2 * kRuns; ++i)
        ASSERT_NEAR(times[i + kRuns], times[i] + duration, 1e-6) << i;
}

TEST(Loop, SignalsTheDiscontinuityOfAClockThatJumped) {
    const Looped looped(make_stream({.jump_at = 500}), 3);
    const json survey = survey_of(looped.bytes);
    EXPECT_EQ(count_of(survey, "1.4"), 0u);
    for (const int pid : {0x100, 0x101}) {
        EXPECT_EQ(pid_of(survey, pid)["continuity"]["signalled"], 2) << "one a seam";
        EXPECT_EQ(pid_of(survey, pid)["pcr"]["jumps"], 3) << "the source's own";
    }
}

TEST(Loop, MovesTheOriginalClockAndLeavesDamagedPacketsAlone) {
    zvprobe::StreamRepeat repeat;
    const auto rewritten = [&repeat](Bytes packet) {
        repeat.rewrite(std::span<uint8_t, 188>(packet));
        return packet;
    };
    const auto with_opcr = [](bool pcr, uint64_t ticks) {
        TsPacket packet(9);
        packet.adaptation(pcr ? 13 : 7).cc(0);
        if (pcr) packet.pcr(1);
        Bytes bytes = packet.flags(0x08).build();
        zv::store_pcr(bytes.data() + (pcr ? 12 : 6), ticks);
        return bytes;
    };
    const Bytes damaged = TsPacket(9).cc(3).transport_error().pcr(5).build();
    rewritten(with_opcr(false, 0));
    repeat.begin_pass(1'000);
    for (const bool pcr : {false, true}) {
        const Bytes packet = rewritten(with_opcr(pcr, kPcrWrap - 1));
        EXPECT_EQ(zv::load_pcr(packet.data() + (pcr ? 12 : 6)), 999u);
    }
    EXPECT_EQ(rewritten(damaged), damaged);
    // One byte short of an original clock: what stands there is none.
    Bytes cut = with_opcr(true, 77);
    cut[4] = 12;
    EXPECT_EQ(zv::load_pcr(rewritten(cut).data() + 12), 77u);
}

TEST(Loop, GoesOnOnlyByAClock) {
    EXPECT_FALSE(Looped(make_stream({.clock = false}), 2).goes_on);
}

}  // namespace
