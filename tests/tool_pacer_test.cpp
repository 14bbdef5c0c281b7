// SPDX-License-Identifier: MIT
// The pacer of `zvprobe pace`: packets go at their time by the stream's clock.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "ts/clock_pacer.h"

namespace {

using zvprobe::ClockPacer;
using Bytes = std::vector<uint8_t>;

// What was sent, and when, in stream time.
struct Played {
    std::vector<std::pair<double, size_t>> runs;  // time, packets; -1: without waiting
    double now = -1;
    double stop_at = 1e9;
    ClockPacer pacer{[this](std::span<const uint8_t> packets, size_t packet_size) {
                         runs.emplace_back(std::exchange(now, -1), packets.size() / packet_size);
                     },
                     [this](double time_s) {
                         now = time_s;
                         return time_s < stop_at;
                     }};
};

Bytes packets(size_t count) {
    return Bytes(count * 188);
}

TEST(ClockPacer, SendsEachRunWhenItsFirstPacketIsDue) {
    Played played;
    played.pacer.take(packets(10), 188, 0);
    EXPECT_TRUE(played.runs.empty()) << "no time is known yet";
    played.pacer.take({0, 0, 0.001, 7 * 188});
    played.pacer.take(packets(4), 188, 10 * 188);
    ASSERT_EQ(played.runs.size(), 2u);
    EXPECT_EQ(played.runs[0], std::make_pair(0.0, size_t{7}));
    EXPECT_DOUBLE_EQ(played.runs[1].first, 7 * 188 * 0.001);
    EXPECT_EQ(played.runs[1].second, 3u);
    // The next line is faster; a place on it may lie before the place it is told by.
    played.pacer.take({20 * 188, 5.0, 0.0005, 20 * 188});
    played.pacer.finish();
    ASSERT_EQ(played.runs.size(), 3u);
    EXPECT_DOUBLE_EQ(played.runs[2].first, 5.0 - 10 * 188 * 0.0005);
}

TEST(ClockPacer, SendsWithoutWaitingWhereNoClockComes) {
    Played played;
    played.pacer.take(packets(3), 188, 0);
    played.pacer.finish();
    EXPECT_EQ(played.runs.at(0), std::make_pair(-1.0, size_t{3}));

    Played endless;
    for (uint64_t at = 0; at <= ClockPacer::kMostHeld; at += 188 * 7)
        endless.pacer.take(packets(7), 188, at);
    EXPECT_GT(endless.runs.size(), 3000u) << "what is held has a bound";
}

TEST(ClockPacer, SendsNothingMoreOnceItIsStopped) {
    Played played;
    played.stop_at = 0.5;
    played.pacer.take({0, 0, 0.001, 1'000'000});
    played.pacer.take(packets(70), 188, 0);
    played.pacer.finish();
    EXPECT_EQ(played.runs.size(), 1u);
}

}  // namespace
