// SPDX-License-Identifier: MIT
// The parse loop: what reaches which stage. That its short cuts and the cutting of the feed change
// nothing is what the fuzz targets ts_reference and ts_parse see, on random streams too.
#include <gtest/gtest.h>

#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/pid_dispatch.h"
#include "support/analyser.h"
#include "support/log_recorder.h"
#include "support/manual_clock.h"
#include "support/test_media.h"
#include "ts_tools.h"
#include "zvlog.h"

namespace {

using namespace zvtest;
using Texts = std::vector<std::string>;

TEST(ParseLoop, StopsAtTheFirstPacketWithoutSync) {
    LogRecorder log;
    Analyser ts;
    Bytes bytes = one_programme();
    bytes[2 * 188] = 0x46;
    EXPECT_EQ(ts.parse(bytes), -1);
    EXPECT_EQ(log.bodies().back(), "It is not a ts stream-len:564,pkt_index:2");
    EXPECT_EQ(ts->is_getAllInfo, 1);
    EXPECT_EQ(ts->sdt.service_count, 0);
    EXPECT_EQ(ts->ts_head.pid, kPmtPid);
    DBG_COMMON = 1;
    log.clear();
    EXPECT_EQ(ts.parse(Bytes(188, 7)), -1);
    DBG_COMMON = 0;
    EXPECT_EQ(log.bodies().at(0),
              "==========================pkt(188),len(188)==========================");
    EXPECT_EQ(log.hex_dumps.at(0).label, "pbufala");
    EXPECT_EQ(log.hex_dumps.at(0).bytes, Bytes(16, 7));
}

TEST(ParseLoop, FixesThePacketSizeOnceAndIgnoresTrailingBytes) {
    Analyser early, late;
    const Bytes stream = one_programme();
    EXPECT_EQ(early.parse(Bytes{0x47}), 0);
    EXPECT_EQ(early->pkt_size, 188);
    EXPECT_EQ(early.parse({stream.begin(), stream.begin() + 2 * 188 - 1}), 0);
    EXPECT_EQ(early->has_pat, 1);
    EXPECT_EQ(early->is_getAllInfo, 0);
    EXPECT_EQ(mpegts_parse(early.get(), stream.data(), -5, 0), 0);
    EXPECT_EQ(mpegts_parse(early.get(), nullptr, 188, 0), -1);
    // With the time code of 192-byte packets first the size is seen, but not the sync byte.
    EXPECT_EQ(late.parse(load_media("single-192.m2ts")), -1);
    EXPECT_EQ(late->pkt_size, 192);
}

TEST(ParseLoop, ShowsNothingToTheStagesBeforeAllTablesAreKnown) {
    LogRecorder log;
    Analyser ts;
    TsStream before;
    before.add(TsPacket(0).section(pat({{1, 0x1000}, {2, 0x1001}})));
    before.add(TsPacket(0x1000).section(pmt(1, 0x100, {{0x0F, 0x101}})));
    before.add(TsPacket(0x100).pcr(1));
    // The packet that completes the tables is itself not offered.
    before.add(TsPacket(0x1001).adaptation(7).pcr(1).section(
        pmt(2, 0x1001, {{15, 0x201}, {2, 0x202}, {2, 0x203}})));
    EXPECT_EQ(ts.parse(before), 0);
    EXPECT_EQ(ts->num_pmtInfo, 2);
    EXPECT_EQ(log.bodies().back(), "Find all info,totalnum_program:2,num_pmtInfo:2");
    EXPECT_EQ(ts->program[1].last_pcr, 0);
    EXPECT_EQ(ts->btc_es, nullptr);
    // From now on a table packet is offered to the clock stages, too.
    EXPECT_EQ(ts.parse(TsPacket(0x1001).adaptation(7).pcr(1).section(pmt(2, 0x1001, {}))), 1);
    EXPECT_EQ(ts->program[1].last_pcr, 426);
    EXPECT_EQ(ts->btc_es, &ts->program[1].streams[1]);  // the first video stream
    const MPEGTSContext known = *ts.get();
    EXPECT_EQ(ts.parse(before, ZV_TS_STOP_KNOWN), 0);
    EXPECT_EQ(memcmp(&known, ts.get(), sizeof known), 0);
}

TEST(ParseLoop, ToldToStopAsksForNoBufferOnceAllTablesAreKnown) {
    LogRecorder log(1);
    Analyser ts;
    EXPECT_EQ(mpegts_parse(ts.get(), nullptr, 188, ZV_TS_STOP_KNOWN), -1);
    ts.parse(one_programme());
    log.clear();
    const MPEGTSContext known = *ts.get();
    EXPECT_EQ(mpegts_parse(ts.get(), nullptr, 188, ZV_TS_STOP_KNOWN), 0);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(memcmp(&known, ts.get(), sizeof known), 0);
    EXPECT_EQ(mpegts_parse(ts.get(), nullptr, 188, 0), -1);
    EXPECT_EQ(mpegts_parse(nullptr, nullptr, 188, ZV_TS_STOP_KNOWN), -1);
    EXPECT_EQ(log.text(), "dbuf is null|dbuf is null");
}

TEST(Continuity, AcceptsAPacketAfterThePcrAndFiltersByTag) {
    Analyser ts;
    ts.parse(one_programme());
    LogRecorder log(2, "zvsi");
    // A PCR packet is not checked; the next one may follow it or the packet before it.
    for (const auto& [cc, with_pcr] : std::vector<std::pair<int, bool>>{
             {5, false}, {8, true}, {6, false}, {9, false}, {10, false}, {1, false}, {1, false}}) {
        TsPacket packet = TsPacket(kVideoPid).cc(cc);
        ts.parse(with_pcr ? packet.pcr(1) : packet, ZV_TS_CHECK_CC);
    }
    EXPECT_EQ(log.text(),
              "[cam-Pid0x100(h264)]Continuity check failed! Expected 11 got 01,"
              "errnum,lostnum:1 5|"
              "[cam-Pid0x100(h264)]Maybe send data again. Last_CC 01 got 01");
    strcpy(strfilterTags, "MPEGTS");
    ts.parse(TsPacket(kVideoPid).cc(3), ZV_TS_CHECK_CC);
    EXPECT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(ts->program[0].streams[0].cc_state.errnum, 2u);
}

TEST(Continuity, AsksForTheLogLevelOnceWhenTheWarningIsSuppressed) {
    Analyser ts;
    ts.parse(one_programme().add(kVideoPid, 2).bytes(), ZV_TS_CHECK_CC);
    LogRecorder log(1);
    ts.parse(TsPacket(kVideoPid).cc(9), ZV_TS_CHECK_CC);
    EXPECT_EQ(ts->program[0].streams[0].cc_state.errnum, 1u);
    EXPECT_EQ(log.level_questions, 1);
}

TEST(ContinuityDeathTest, TrapSpringsOnOnePidAndOnlyWhenArmed) {
    Analyser ts;
    ts.parse(pat_packet({{1, kPmtPid}}));
    ts.parse(TsPacket(kPmtPid).section(pmt(1, 0x202, {{2, 0x202}, {3, 0x203}})));
    const auto jump = [&](int pid) {
        for (const int cc : {1, 2, 9})
            ts.parse(TsPacket(pid).cc(cc), ZV_TS_CHECK_CC);
    };
    jump(0x202);
    EXPECT_EQ(ts->program[0].streams[0].cc_state.errnum, 1u);
    DBG_CC = 1;
    jump(0x203);
    EXPECT_EXIT(jump(0x202), testing::ExitedWithCode(1), "");
    DBG_CC = 0;
}

TEST(ParseLoop, TellsProgrammesThatShareAPmtPidApart) {
    Analyser ts;
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}, {2, kPmtPid}}));
    for (const int programme : {1, 2, 2})
        stream.add(TsPacket(kPmtPid).section(pmt(programme, 0x100, {{0x1B, 0x100 + programme}})));
    ts.parse(stream.bytes());
    EXPECT_EQ(ts->num_pmtInfo, 2);
    EXPECT_EQ(ts->program[1].streams[0].pid, 0x102);
    EXPECT_EQ(ts->program[0].period.last, 0u);
    EXPECT_NE(ts->program[1].period.last, 0u);
}

TEST(ParseLoop, FollowsTablesThatChangeWithinACall) {
    LogRecorder log;
    Analyser ts;
    ts.parse(one_programme().add(kVideoPid, 2).bytes());
    ts->program[1].program_number = 2;
    ts->program[1].pmt_pid = 0x1001;
    ts->program[1].es_count = 1;
    ts->program[1].streams[0].pid = 0x2150;  // no packet can have it
    ts->totalnum_program = 2;
    zv::forget_dispatch(*ts.get());

    TsStream more;
    more.add(kVideoPid, 1).add(TsPacket(0x1001).section(pmt(2, 0x200, {{0x1B, 0x200}})));
    more.add(TsPacket(0x150).cc(1)).add(TsPacket(0x200).cc(3)).add(TsPacket(0x200).cc(9));
    ts.parse(more.bytes(), ZV_TS_CHECK_CC);
    EXPECT_EQ(ts->program[1].streams[0].cc_state.started, 0);
    EXPECT_EQ(ts->program[1].streams[1].cc_state.errnum, 1u);
}

}  // namespace
