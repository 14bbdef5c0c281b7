// SPDX-License-Identifier: MIT
// A watched source over a long time, as fast as it goes: it counts what was sent, and takes no more
// memory than after its first minutes.
#include <gtest/gtest.h>
#include <malloc.h>

#include <deque>
#include <map>

#include "support/ts_builder.h"
#include "watch/watched_source.h"

namespace {

using namespace zvtest;
using namespace zvprobe;
using namespace std::chrono_literals;
using Clock = WatchedSource::Clock;

constexpr int kPcrPid = 0x1FF, kDamagedPid = 0x300, kEitPid = 0x12;
constexpr size_t kPackets = 70;  // a second

// A stream in RTP, second by second: tables that change, a clock and time stamps that wrap after half
// an hour, and each second a lost packet, a damaged one and a wrong CRC.
class LongStream {
  public:
    // -> the datagrams of a second; the last one has null packets only
    std::deque<Bytes> second(int number) {
        const uint64_t time = kWrap + (static_cast<uint64_t>(number) - 1800) * 90'000;
        add_tables(number);
        for (uint64_t i = 0; i < 25; ++i)
            add(TsPacket(kPcrPid).adaptation(183).control(2).pcr((time + 3600 * i) % kWrap));
        add(TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts((time + 45'000) % kWrap)));
        ++next_cc_[kVideoPid];
        add(TsPacket(kVideoPid));
        add(TsPacket(kDamagedPid).transport_error());
        while (packets_.size() < kPackets)
            add(TsPacket(0x1FFF));
        return in_datagrams(static_cast<uint8_t>(number / 300));
    }

  private:
    static constexpr uint64_t kWrap = uint64_t{1} << 33;

    void add(TsPacket packet) {
        int& cc = next_cc_[packet.pid()];
        packet.cc(packet.counts() ? cc++ : cc - 1);
        packets_.push_back(packet.build());
    }
    void add_tables(int number) {
        const int version = number / 10 % 32;
        add(TsPacket(0).section(pat({{1, kPmtPid}}).version(version)));
        std::vector<PmtStream> streams = {{0x1B, kVideoPid}};
        if (version % 2 == 1) streams.push_back({0x0F, 0x400 + version});
        add(TsPacket(kPmtPid).section(pmt(1, kPcrPid, streams).version(version)));
        add(TsPacket(kEitPid).section(Section(0x4E, Bytes(20, 0)).break_crc()));
    }
    std::deque<Bytes> in_datagrams(uint8_t ssrc) {
        std::deque<Bytes> all;
        for (size_t i = 0; i < packets_.size(); ++i) {
            if (i % 7 == 0) {
                all.push_back({0x80, 33});
                append16(all.back(), sequence_++ & 0xFFFF);
                append(all.back(), {0, 0, 0, 0, 0, 0, 0, ssrc});
            }
            append(all.back(), packets_[i]);
        }
        packets_.clear();
        return all;
    }

    std::map<int, int> next_cc_;
    std::vector<Bytes> packets_;
    int sequence_ = 0;
};

size_t heap_in_use() {
    const struct mallinfo2 all = mallinfo2();
    return all.uordblks + all.hblkhd;
}

class LongWatch : public testing::Test {
  protected:
    void take_second(int number) {
        std::deque<Bytes> datagrams = stream_.second(number);
        if (number % 10 == 5) datagrams.pop_back(), ++lost_;
        for (const Bytes& datagram : datagrams) {
            const std::span<const uint8_t> piece = datagram;
            source_.take_datagrams({&piece, 1}, number % 100 == 7 ? 1 : 0);
            now_ += std::chrono::microseconds(100'000);
        }
        now_ = Clock::time_point(1h + std::chrono::seconds(number + 1));
        source_.tick();
        if (number % 15 == 0) source_.state();
    }

    Clock::time_point now_{1h};
    LongStream stream_;
    WatchedSource source_{
        {"a", "rtp://127.0.0.1:1"}, {}, {.keep_history = true, .now = [this] { return now_; }}};
    uint64_t lost_ = 0;
};

TEST_F(LongWatch, AnHourIsCountedToThePacketAndTakesNoMoreMemoryThanTenMinutes) {
    source_.opened(false);
    size_t early = 0;
    for (int i = 0; i < 3600; ++i) {
        take_second(i);
        if (i == 600) early = heap_in_use();
    }
    EXPECT_LT(heap_in_use(), early + 4096);
    const SourceState state = source_.state();
    EXPECT_TRUE(state.up);
    const Tallies all = source_.retire();
    EXPECT_EQ(all.packets.sum(), 3600 * kPackets - lost_ * 7);
    EXPECT_EQ(all.bytes, all.packets.sum() * 188);
    EXPECT_EQ(all.rtp_packets_lost.sum(), lost_);
    EXPECT_EQ(all.receive_drops, 36u * 10);
    EXPECT_EQ(all.transport_errors.sum(), 3600u);
    EXPECT_EQ(all.pids.at(kVideoPid).packets.sum(), 7200u);
    EXPECT_EQ(all.pids.at(kVideoPid).packets_lost.sum(), 3600u);
    EXPECT_EQ(all.indicators.at("1.4").sum(), 3600u);
    EXPECT_EQ(all.indicators.at("2.2").sum(), 3600u) << "CRC";
    EXPECT_EQ(all.indicators.at("2.3.b").sum(), 0u) << "a clock that wraps does not jump";
    EXPECT_EQ(all.sync_losses.sum(), 0u);
}

TEST_F(LongWatch, WhatWaitsForALostRtpPacketIsCountedWhenThatDoesNotCome) {
    source_.opened(false);
    std::deque<Bytes> datagrams = stream_.second(0);
    datagrams.erase(datagrams.begin() + 3);
    for (const Bytes& datagram : datagrams) {
        const std::span<const uint8_t> piece = datagram;
        source_.take_datagrams({&piece, 1}, 0);
    }
    EXPECT_EQ(source_.state().tallies.packets.sum(), 3u * 7);
    now_ += 300ms;
    source_.tick();
    EXPECT_EQ(source_.state().tallies.packets.sum(), kPackets - 7);
    EXPECT_EQ(source_.state().tallies.rtp_packets_lost.sum(), 1u);
}

TEST_F(LongWatch, AYearOfSilencesTakesNoMemory) {
    source_.opened(false);
    size_t early = 0;
    for (int day = 0; day < 366; ++day) {
        for (const Bytes& datagram : stream_.second(day)) {
            const std::span<const uint8_t> piece = datagram;
            source_.take_datagrams({&piece, 1}, 0);
        }
        now_ += 1s;
        source_.tick();
        now_ += 24h;
        source_.tick();
        EXPECT_FALSE(source_.state().up);
        if (day == 60) early = heap_in_use();
    }
    EXPECT_LT(heap_in_use(), early + 256 * 1024) << "some lists of events are not full yet";
    const SourceReport report = source_.report(true);
    const Json& history = std::get<TsReport>(report.content).survey.at("history");
    EXPECT_EQ(history.at("step_s"), 12.8) << "for the last hour at least";
    EXPECT_NEAR(history.at("start_s").get<double>(), 366 * 86400, 2.5 * 3600);
    EXPECT_EQ(source_.retire().packets.sum(), 366 * kPackets);
}

}  // namespace
