// SPDX-License-Identifier: MIT
// The packet layer: header, continuity, sync, adaptation field and PCR, PES accessors. Its searches
// are compared with their definitions by the fuzz target pkt_size, on random bytes too.
#include "mpeg/ts_packet/ts_packet.h"

#include <gtest/gtest.h>

#include "mpeg/ts_packet/pes_header.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"
#include "support/ts_builder.h"
#include "ts_tools.h"

namespace {

using namespace zvtest;

ts_head head_of(uint16_t pid, int adaptation_field_control) {
    ts_head head = {};
    head.pid = pid;
    head.adaptation_field_control = static_cast<uint8_t>(adaptation_field_control);
    return head;
}

TEST(TsHeader, IsDecodedAndPrintedOrRefused) {
    LogRecorder log;
    const Bytes good = {0x47, 0xBF, 0xFE, 0xB9}, bad = {0x48, 0, 0, 0x10};
    ts_head head = {};
    EXPECT_EQ(zvsi_api_tsHeaderParse(&head, good.data(), 188, 1), 0);
    EXPECT_EQ(zvsi_api_tsHeaderParse(&head, bad.data(), 188, 1), -1);
    zvsi_api_tsHeaderPrint(&head, 2);
    zvsi_api_tsHeaderPrint(&head, 3);
    EXPECT_EQ(log.text(),
              "Sync byte:0x47|transport error indicator:0x1|payload unit start indicator:0|"
              "transport priority:0x1|PID:0x1ffe|transport scrambling control:0x2|"
              "adaption field control:0x3|continuity counter:0x9|"
              "It is not a ts buf,because the syn_byte is 72 ,not 71|"
              "PID,continuity counter:0x1ffe,0x9");
    EXPECT_EQ(zvsi_api_tsHeaderParse(&head, nullptr, 188, 0), -1);
    EXPECT_EQ(zvsi_api_tsHeaderParse(nullptr, good.data(), 188, 0), -1);
}

TEST(TsHeader, IsBuiltAndRemappedByOringTheHighBits) {
    Bytes packet(4);
    zvsi_api_tsHeaderBuild(0x100, 1, 5, packet.data());
    EXPECT_EQ(packet, (Bytes{0x47, 0x41, 0x00, 0x15}));
    zvsi_api_tsHeaderBuild(0xFFFF, 0xFF, 0x1F, packet.data());
    EXPECT_EQ(packet, (Bytes{0x47, 0x5F, 0xFF, 0x3F}));
    packet = {0x47, 0x41, 0x01, 0x15};
    zvsi_api_tsHeaderRemap(0x0200, packet.data());
    EXPECT_EQ(packet, (Bytes{0x47, 0x43, 0x00, 0x15}));
    EXPECT_FALSE(zvsi_api_isValidPid(15) || zvsi_api_isValidPid(8191));
    EXPECT_TRUE(zvsi_api_isValidPid(16) && zvsi_api_isValidPid(8190));
}

TEST(Continuity, CountsJumpsButNotRepeatsAndWrapsWithFifteen) {
    LogRecorder log;
    struct Case {
        CCState state;
        uint8_t cc, mode;
        int result;
        uint32_t errors, lost;
    };
    const Case cases[] = {
        {{0, 9, 9, 0, 0}, 4, 0, 0, 0, 0},    // the first packet is always right
        {{1, 15, 0, 0, 0}, 0, 0, 0, 0, 0},   // wrap
        {{1, 4, 0, 2, 9}, 4, 0, 0, 2, 9},    // repeat
        {{1, 3, 0, 0, 0}, 7, 0, -1, 1, 3},   // forward
        {{1, 14, 0, 0, 0}, 2, 0, -1, 1, 2},  // expected 15
        {{1, 13, 0, 1, 1}, 1, 0, -1, 2, 3},  // expected 14: two more, not three
        {{1, 3, 9, 0, 0}, 10, 1, 0, 0, 0},   // continues the other predecessor
        {{1, 3, 9, 0, 0}, 10, 0, -1, 1, 6},  // which only mode 1 knows
        {{1, 9, 8, 0, 0}, 9, 1, 0, 0, 0},    // in order before it is a repeat
    };
    for (const Case& c : cases) {
        CCState state = c.state;
        EXPECT_EQ(zvsi_api_CCCheck("label", &state, c.cc, c.mode), c.result);
        EXPECT_EQ(state.errnum, c.errors) << int{c.cc};
        EXPECT_EQ(state.lostnum, c.lost) << int{c.cc};
        EXPECT_TRUE(state.last_cc == c.cc && state.started && state.alt_cc == c.state.alt_cc);
    }
    EXPECT_EQ(log.bodies(2).at(0), "[label]Maybe send data again. Last_CC 04 got 04");
    EXPECT_EQ(log.bodies(2).at(1),
              "[label]Continuity check failed! Expected 04 got 07,errnum,lostnum:1 3");
    EXPECT_EQ(log.lines.size(), 5u);
}

TEST(Sync, TakesPacketsOf188BytesForGrantedInJunk) {
    const Bytes junk(500, 1), tie(100, 0x47);
    GuardedBuffer guarded(junk);
    EXPECT_EQ(mpegts_api_getTsPktSize3(guarded.data(), 500), 188);
    EXPECT_EQ(mpegts_api_getTsPktSize3(nullptr, 500), 188);
    EXPECT_EQ(mpegts_api_getTsPktSize3(guarded.data(), 0x80000000u), 188);  // a negative length
    EXPECT_EQ(zvsi_api_getPktSize(tie.data(), 100), 188);
    EXPECT_EQ(zvsi_api_isTsByPktSize(tie.data(), 100, 0), 0);
    EXPECT_EQ(zvsi_api_isTsByPktSize(tie.data(), 100, -188), 0);
    EXPECT_EQ(zvsi_api_isTs(nullptr, 0), 1);  // an empty buffer fits every size
    EXPECT_EQ(zvsi_api_isTs(nullptr, 1), 0);
}

TEST(AdaptationField, LengthIsCappedAt183) {
    const int cases[][3] = {{0, 0, 184},   {1, 9, 0},     {2, 9, 183},  {3, 0, 1},
                            {3, 182, 183}, {3, 183, 183}, {3, 255, 183}};
    for (const auto& [afc, length, expected] : cases) {
        const auto byte = static_cast<uint8_t>(length);
        EXPECT_EQ(zvsi_api_getAdaptationFieldLen(static_cast<uint8_t>(afc), &byte), expected);
    }
    Bytes packet(188, 0xEE);
    uint8_t* at = packet.data();
    EXPECT_EQ(zvsi_api_setAdaptationFieldLen(3, 100, &at), at + 84);
    EXPECT_EQ((Bytes{packet[4], packet[5], packet[6]}), (Bytes{79, 0, 0xEE}));
    EXPECT_EQ(zvsi_api_setAdaptationFieldLen(1, 100, &at), at + 4);
    EXPECT_EQ(zvsi_api_setAdaptationFieldLen(2, 100, &at), nullptr);
    EXPECT_EQ(packet[4], 0);
    EXPECT_EQ(zvsi_api_setAdaptationFieldLen(0, 100, &at), nullptr);
}

TEST(Pcr, NeedsAFlagInAFieldOfTheRightLength) {
    LogRecorder log;
    const int cases[][4] = {{1, 7, 0x10, 0},   {3, 7, 0x10, 1},   {3, 7, 0xEF, 0},
                            {3, 6, 0x10, 0},   {3, 183, 0xFF, 1}, {3, 184, 0x10, 0},
                            {2, 183, 0x10, 1}, {2, 184, 0x10, 0}, {2, 6, 0x10, 0},
                            {2, 100, 0x10, 0}};
    for (const auto& [afc, length, flags, expected] : cases) {
        const uint8_t field[] = {static_cast<uint8_t>(length), static_cast<uint8_t>(flags)};
        EXPECT_EQ(zvsi_api_isPcrData(head_of(0x100, afc), field), expected) << afc << ' ' << length;
    }
    EXPECT_EQ(log.text(),
              "[Pid0x100]What shift do you send, when the adaptation_field_ctr is 0x2,"
              "but the adaptation_field_len isnot 183(100)");
    EXPECT_EQ(log.lines.at(0).level, 1u);
}

TEST(Pcr, CountsTheReservedBitsIntoTheExtension) {
    const uint8_t small[] = {0x10, 0, 0, 0, 1, 0x7E, 0};
    EXPECT_EQ(zvsi_api_getPcr(small), 726u);
    const uint8_t high[] = {0x10, 0x80, 0, 0, 0, 0x80, 0x80};
    EXPECT_EQ(zvsi_api_getPcr(high), ((uint64_t{1} << 32) + 1) * 300 + 128);
    const uint8_t ones[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(zvsi_api_getPcr(ones), 0x1FFFFFFFFULL * 300 + 255);
}

TEST(PesHeaderFields, AreReadAndValidatedByTheirOwnRules) {
    const Bytes both =
        PesHeader(0xE0).dts(0x123456789).pts(0x1FFFFFFFF).packet_length(0xFFFF).aligned();
    const uint8_t* p = both.data();
    EXPECT_EQ(pes_get_pts(p), 0x1FFFFFFFFu);
    EXPECT_EQ(pes_get_dts(p), 0x123456789u);
    EXPECT_EQ(
        (std::vector<uint32_t>{0xE0, 65535, 10, 1, 1, 1, 1, 1}),
        (std::vector<uint32_t>{pes_get_streamid(p), pes_get_length(p), pes_get_headerlength(p),
                               pes_get_dataalignment(p), pes_has_pts(p), pes_has_dts(p),
                               pes_validate_pts(p), pes_validate_dts(p)}));
    EXPECT_TRUE(pes_validate(p) && pes_validate(PesHeader(0xBC).build().data()));
    EXPECT_FALSE(pes_validate(PesHeader(0xBB).build().data()));  // a system header
    Bytes pts_only = PesHeader(0xC0).pts(5);
    EXPECT_EQ(pes_validate_pts(pts_only.data()), 1u);
    EXPECT_EQ(pes_has_dts(pts_only.data()) | pes_validate_dts(pts_only.data()), 0u);
    pts_only[7] = 0x40;  // the forbidden value
    EXPECT_EQ(pes_has_pts(pts_only.data()) | pes_has_dts(pts_only.data()), 0u);
    for (const size_t marker : {9u, 11u, 13u, 14u, 16u, 18u}) {
        const Bytes bad = PesHeader(0xE0).dts(1).pts(1).break_marker(marker);
        EXPECT_EQ(pes_validate_pts(bad.data()), marker >= 14) << marker;
        EXPECT_EQ(pes_validate_dts(bad.data()), marker < 14) << marker;
    }
}

}  // namespace
