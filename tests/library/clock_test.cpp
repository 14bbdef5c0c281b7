// SPDX-License-Identifier: MIT
// Stream clocks: PCR recording, PES time stamps, and pacing by either on a clock the test owns.
#include <gtest/gtest.h>

#include "mpeg/mpegts/filters.h"
#include "support/analyser.h"
#include "support/log_recorder.h"
#include "support/manual_clock.h"

namespace {

using namespace zvtest;
using Times = std::vector<uint64_t>;

TEST(RateEmulation, SleepsOffTheDriftFromOneAnchor) {
    LogRecorder log;
    ManualClock clock(5'000'000);
    RateEmu rate = {};
    uint8_t verbose = 0;
    const auto step = [&](int64_t stream_us, uint64_t after_us) {
        clock.now += after_us;
        return mpegts_api_rateEmuLong("cam", "pts", &rate, stream_us, verbose);
    };
    EXPECT_EQ(step(0, 0), -1);
    EXPECT_EQ(step(-5, 0), -1);
    EXPECT_EQ(rate.lastSys_us, 0);
    clock.per_reading = 3;
    EXPECT_EQ(step(1'000'000, 0), -1);
    EXPECT_EQ(rate.lastSys_us, 5'000'003);  // the anchor is a reading of its own
    clock.per_reading = 0;
    const int64_t anchor = rate.lastSys_us;
    const auto since = clock.now - static_cast<uint64_t>(anchor);
    EXPECT_EQ(step(1'600'000, 500'000 - since), anchor + 500'000);
    EXPECT_EQ(clock.sleeps, Times{99'900});
    EXPECT_EQ(step(1'600'000, 0), anchor + 599'900);  // 100 us ahead is not worth a sleep
    EXPECT_EQ(log.lines.size(), 0u);
    verbose = 1;
    EXPECT_EQ(step(1'600'050, 100), anchor + 600'000);
    const std::string at = std::to_string(anchor), now = std::to_string(anchor + 600'000);
    EXPECT_EQ(log.text(2), "[cam:pts]must send fast :cctime_us:50,当前系统时间:" + now +
                               ",上次系统时间:" + at +
                               ",差值:600000,当前流时间:1600050,上次流时间:1000000,差值:600050");
    EXPECT_EQ(clock.sleeps.size(), 1u);
    EXPECT_EQ(step(1'000'000, 0), -1);  // a repeated time stamp anchors anew
    EXPECT_EQ(rate.lastSys_us, anchor + 600'000);
    EXPECT_EQ(step(1'600'000, 0), -1);  // the clock must have moved too
}

TEST(RateEmulation, GivesUpTheAnchorAfterTwoStepsOfTwoSeconds) {
    LogRecorder log;
    ManualClock clock(10'000'000);
    for (const auto& [drift, result] : std::vector<std::pair<int64_t, int>>{
             {2'000'000, 0}, {1'999'999, 1}, {-1'999'999, 1}, {-2'000'000, 0}}) {
        RateEmu rate = {1'000'000, 10'000'000, 1};
        EXPECT_EQ(
            mpegts_innerapi_rateEmuDone("cam", "pcr", &rate, 4'000'000 + drift, 13'000'000, 0),
            result);
        EXPECT_EQ(rate.numOutOfRange, result ? 0 : 2) << drift;
    }
    EXPECT_EQ(clock.sleeps, Times{1'999'899});
    EXPECT_EQ(
        log.bodies(2).at(0),
        "[cam:pcr]cctime_us(2000000) out of range (-2000000-2000000),当前系统时间:13000000,"
        "上次系统时间:10000000,差值:3000000,当前流时间:6000000,上次流时间:1000000,差值:5000000");

    RateEmu rate = {1'000'000, 10'000'000, 0};
    std::vector<int64_t> results;
    for (const int64_t stream : {50, 50, 0, 50, 51}) {
        clock.now += 1'000'000;
        results.push_back(mpegts_api_rateEmuLong("cam", "pcr", &rate, stream * 1'000'000, 1));
    }
    const auto first = static_cast<int64_t>(10'000'000 + 1'999'899 + 1'000'000);
    EXPECT_EQ(results, (std::vector<int64_t>{first, first + 1'000'000, -1, -1, first + 4'000'000}));
    EXPECT_EQ(rate.lastStream_us, 50'000'000);
    const RateEmu unset = {0, 5, 0};
    EXPECT_EQ(mpegts_innerapi_isRateEmuVaild(&unset, 10, 10), 0);
}

class Clocks : public testing::Test {
  protected:
    LogRecorder log;
    ManualClock clock;
    Analyser ts;
    PesTiming& video() { return ts->program[0].streams[0].timing; }
    void SetUp() override {
        ts.parse(one_programme());
        log.clear();
    }
    void TearDown() override { DBG_PES = DBG_PES_PTSDTS = DBG_PCR = 0; }
    static TsPacket pes(const Bytes& header) { return TsPacket(kVideoPid).start().payload(header); }
};

using Pcr = Clocks;

TEST_F(Pcr, IsKeptInTicksWithItsPeriod) {
    DBG_PCR = 1;
    ts->is_update = 0;
    EXPECT_EQ(ts.parse(TsPacket(kVideoPid).pcr(90'000)), 1);
    EXPECT_EQ(ts->is_update, 1);
    EXPECT_EQ(ts->program[0].pcr_period.period, 0u);
    clock.now += 40'000;
    EXPECT_EQ(ts.parse(TsPacket(kVideoPid).pcr(90'000)), 1);
    EXPECT_EQ(ts->program[0].pcr_period.period, 40'000u);
    EXPECT_EQ(ts->program[0].last_pcr, 27'000'126);
    EXPECT_EQ(log.text(4), "[cam-Pid256]pcr_flag:1|[cam-Pid256]pcr_flag:1");
    EXPECT_EQ(ts.parse(TsPacket(kVideoPid).adaptation(100).control(2)), 0);
    EXPECT_EQ(log.count("adaptation_field_len isnot 183(100)"), 1);
}

TEST_F(Pcr, OfTheFirstProgrammeAlonePacesAndIsThenInMicroseconds) {
    Analyser two;
    TsStream tables;
    tables.add(pat_packet({{1, 0x1000}, {2, 0x1001}, {3, 0x1002}}));
    tables.add(TsPacket(0x1000).section(pmt(1, 0x100, {{2, 0x100}})));
    tables.add(TsPacket(0x1001).section(pmt(2, 0x200, {{2, 0x200}})));
    tables.add(TsPacket(0x1002).section(pmt(3, 0x100, {{2, 0x300}})));
    two.parse(tables);
    for (const uint64_t base : {90'000u, 180'000u}) {
        clock.now += 1;
        EXPECT_EQ(two.parse(TsPacket(0x100).pcr(base), ZV_TS_PACE_PCR), 1);
        EXPECT_EQ(two.parse(TsPacket(0x200).pcr(base), ZV_TS_PACE_PCR), 1);
    }
    EXPECT_EQ(two->program[0].last_pcr, 2'000'004);  // 54000126 / 27
    EXPECT_EQ(two->program[1].last_pcr, 54'000'126);
    EXPECT_EQ(two->program[2].last_pcr, 0);  // shares its PID with the first
    EXPECT_EQ(clock.sleeps, Times{1'000'000 - 1 - 100});
    EXPECT_EQ(two->rate_pts.lastSys_us, 0);
}

TEST_F(Pcr, ThatNoPmtNamesIsCountedOnItsStream) {
    ts->is_update = 0;
    EXPECT_EQ(ts.parse(TsPacket(kAudioPid).pcr(1)), 1);
    EXPECT_EQ(ts.parse(TsPacket(0x777).pcr(1)), 1);
    EXPECT_EQ(ts->program[0].streams[1].numPcr_noInPmt, 1);
    EXPECT_EQ(ts->program[0].last_pcr, 0);
    EXPECT_EQ(ts->is_update, 0);
}

TEST_F(Pcr, PacketsAloneGetANewPidWhenRemapped) {
    const auto remapped = [&](const TsPacket& packet, uint16_t pid) {
        Bytes bytes = packet.build();
        zvsi_api_tsHeaderParse(&ts->ts_head, bytes.data(), 188, 0);
        mpegts_innerapi_filterPcr(ts.get(), bytes.data(), ZV_TS_REMAP, pid);
        return zv::load_pid(&bytes[1]);
    };
    EXPECT_EQ(remapped(TsPacket(kVideoPid).pcr(1), 0x1300), 0x1300);
    EXPECT_EQ(remapped(TsPacket(kVideoPid).pcr(1), 0x1FFF), kVideoPid);
    EXPECT_EQ(remapped(TsPacket(kVideoPid), 0x1300), kVideoPid);
    EXPECT_EQ(mpegts_innerapi_filterPcr(nullptr, nullptr, 0, 0), 0);
    EXPECT_EQ(mpegts_innerapi_filterPcr(ts.get(), nullptr, 0, 0), 0);
    EXPECT_EQ(log.text(1), "dbuf is null|dbuf is null");
}

using Pes = Clocks;

TEST_F(Pes, TimesAreConvertedEachByItsOwnFactor) {
    ts.parse(pes(PesHeader(0xE0).pts(90'000).dts(89'999)), ZV_TS_PES_TIMING);
    EXPECT_EQ(video().pts_us, 990'000u);
    EXPECT_EQ(video().dts_us, 999'000u);
    EXPECT_EQ(video().lastPts_us, 990'000u);
    ts.parse(pes(PesHeader(0xE0).pts(90'000).dts(90'000).break_marker(11)), ZV_TS_PES_TIMING);
    EXPECT_EQ(video().pts_us, 0u);
    EXPECT_EQ(video().lastPts_us, 990'000u);
    EXPECT_EQ(video().dts_us, 1'000'000u);
}

TEST_F(Pes, BytesAreCountedFromTheHeaderFound) {
    const auto after_start = [&](size_t offset, const PesHeader& header) {
        Bytes payload(offset, 0xFF);
        append(payload, header);
        ts.parse(TsPacket(kVideoPid).start().payload(payload), ZV_TS_PES_TIMING);
        return video().pes_data_recvd;
    };
    EXPECT_EQ(after_start(10, PesHeader(0xE0).header_length(5)), 160);
    ts.parse(TsPacket(kVideoPid), ZV_TS_PES_TIMING);
    EXPECT_EQ(video().pes_data_recvd, 344);
    EXPECT_EQ(after_start(0, PesHeader(0xE0).header_length(255).packet_length(3)), 65'456);
    EXPECT_EQ(video().pesDataLen, 65'275);
    EXPECT_EQ(after_start(0, PesHeader(0xE0).packet_length(100)), 165);
    EXPECT_EQ(video().pesDataLen, 81);
    EXPECT_EQ(log.hex_dumps.size(), 0u);
    // An adaptation field counts as payload, and its stuffing is searched.
    ts.parse(TsPacket(kVideoPid).start().adaptation(20).payload(PesHeader(0xE0)), ZV_TS_PES_TIMING);
    EXPECT_EQ(video().pes_data_recvd, 184 - 21 - 19);
}

TEST_F(Pes, HeaderCutByThePacketsEndReadsAsZeroOrIsNotFound) {
    const auto start_at = [&](int offset) {
        TsPacket packet = TsPacket(kVideoPid).start().adaptation(offset - 1);
        ts.parse(packet.payload(PesHeader(0xE0).pts(90'000)), ZV_TS_PES_TIMING);
        return static_cast<int16_t>(video().pes_data_recvd);
    };
    EXPECT_EQ(start_at(166), 184 - 166 - 19);
    EXPECT_EQ(video().pts_us, 990'000u);
    EXPECT_EQ(start_at(171), 184 - 171 - 19);
    EXPECT_EQ(video().pts_us, 0u);
    EXPECT_EQ(start_at(177), 184 - 177 - 9);  // the header's length is cut off, too
    EXPECT_EQ(start_at(178), 184 - 177 - 9 + 184);
    ASSERT_EQ(log.hex_dumps.size(), 1u);
    EXPECT_EQ(log.hex_dumps[0].label, "pesPkt");
    EXPECT_EQ(log.hex_dumps[0].length, 184);
}

TEST_F(Pes, AStartCodeWithoutTheMarkerIsPassedOverForTheNextHeader) {
    Bytes payload = {0, 0, 1, 0xE0, 0, 0, 0x40, 0x80, 5};
    append(payload, PesHeader(0xE0).pts(90'000));
    ts.parse(TsPacket(kVideoPid).start().payload(payload), ZV_TS_PES_TIMING);
    EXPECT_EQ(video().pts_us, 990'000u);
    EXPECT_EQ(video().pes_data_recvd, 184 - 9 - 19);
}

TEST_F(Pes, HeadersAreDescribedWhenAsked) {
    DBG_PES = DBG_PES_PTSDTS = 1;
    ts.parse(pes(PesHeader(0xE0).pts(180'000).dts(180'000)), ZV_TS_PES_TIMING);
    video().pes_data_recvd = 369;
    log.clear();
    ts.parse(pes(PesHeader(0xBF).pts(90'000).dts(270'000)), ZV_TS_PES_TIMING);
    EXPECT_EQ(log.text(4),
              "[0x100]总接收长度:369,大约2个TS包|"
              "[0x100]---------------------------新的PES头，偏移0|"
              "[0x100]开始码:0x000001|[0x100]流ID:0xbf-private2|[0x100]包长度:0|"
              "[0x100]DTS:3000000 us,上次是:2000000 us,时差1000000 us|"
              "[0x100]头长度:10，头总长度为:19|"
              "[0x100]数据长度:无界长度,pes_data_recvd:165");
    EXPECT_EQ(log.text(2), "[0x100]PTS:990000 us,上次是:1980000 us,非线性PTS");
    log.clear();
    video().pes_data_recvd = 368;
    ts.parse(pes(PesHeader(0xF5).packet_length(119).aligned()), ZV_TS_PES_TIMING);
    EXPECT_EQ(log.text(),
              "[0x100]总接收长度:368,大约3个TS包|"
              "[0x100]---------------------------新的PES头，偏移0|"
              "[0x100]开始码:0x000001|[0x100]流ID:0xf5-错误|[0x100]包长度:119|"
              "[0x100]数据对齐:是|[0x100]PTS:无效|[0x100]DTS:无效|"
              "[0x100]头长度:10，头总长度为:19|[0x100]数据长度:100,pes_data_recvd:165");
}

TEST_F(Pes, PacesFromTheThirdPtsOfTheChosenStreamOnly) {
    for (const uint64_t ticks : {100'000u, 200'000u, 300'000u}) {
        clock.now += 1;
        ts.parse(pes(PesHeader(0xE0).pts(ticks).dts(ticks)), ZV_TS_PACE_PES);
        ts.parse(TsPacket(kAudioPid).start().payload(PesHeader(0xC0).pts(ticks)), ZV_TS_PACE_PES);
    }
    EXPECT_EQ(clock.sleeps, Times{1'100'000 - 1 - 100});
    EXPECT_EQ(ts->rate_pts.lastStream_us, 2'200'000);
    EXPECT_EQ(ts->rate_dts.lastStream_us, 0);
    EXPECT_EQ(ts->program[0].streams[1].timing.ptsSeen, 0);  // not timed with this bit alone
    clock.now += 1;
    ts.parse(pes(PesHeader(0xE0).pts(250'000)), ZV_TS_PACE_PES);  // goes back: no pacing
    EXPECT_EQ(clock.sleeps.size(), 1u);
    EXPECT_EQ(video().lastPts_us, 2'750'000u);
}

TEST_F(Pes, PacesOnTheDtsOfAStreamWithoutAnyPts) {
    for (const uint64_t ticks : {90'000u, 180'000u, 270'000u}) {
        clock.now += 1;
        ts.parse(pes(PesHeader(0xE0).pts(1).dts(ticks).break_marker(13)), ZV_TS_PACE_PES);
    }
    EXPECT_EQ(clock.sleeps, Times{1'000'000 - 1 - 100});
    EXPECT_EQ(ts->rate_dts.lastStream_us, 2'000'000);
}

}  // namespace
