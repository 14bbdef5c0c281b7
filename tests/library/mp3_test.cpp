// SPDX-License-Identifier: MIT
// MPEG audio frame headers: what is accepted, what the fields say, how they are described.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "mp3.h"
#include "mp3/mp3_internal.h"
#include "support/flv_builder.h"
#include "support/log_recorder.h"

namespace {

using namespace zvtest;

// "no" when the header is refused, its description otherwise.
std::string describe(const Bytes& header) {
    MP3HeaderInfo info{};
    if (mp3_api_check(&info, header.data(), 0) == 0) return "no";
    char out[128] = "";
    return mp3_api_getInfo(&info, out);
}

TEST(Mp3, DescribesHeadersOfEveryVersionAndLayer) {
    EXPECT_EQ(describe({0xFF, 0xFB, 0x90, 0x00}), ",mpeg1/L3,128 kb/s,44100 Hz,stereo");
    EXPECT_EQ(describe({0xFF, 0xF3, 0x90, 0x00}), ",mpeg2/L3,128 kb/s,22050 Hz,stereo");
    EXPECT_EQ(describe({0xFF, 0xE7, 0x48, 0x40}), ",mpeg2.5-/L1,128 kb/s,8000 Hz,stereo");
    EXPECT_EQ(describe({0xFF, 0xFB, 0x00, 0x00}), ",mpeg1/L3,44100 Hz,stereo") << "free";
    EXPECT_EQ(describe({0xFF, 0xFB, 0xF0, 0x00}), ",mpeg1/L3,44100 Hz,stereo") << "bad";
    EXPECT_EQ(describe({0xFF, 0xFD, 0xA4, 0xC0}), ",mpeg1-/L2,192 kb/s,44100 Hz,doubletrack");
}

TEST(Mp3, DropsTheLowBitOfSamplingIndexAndChannelMode) {
    const char* const ends[4] = {"44100 Hz,stereo", "44100 Hz,stereo", "32000 Hz,doubletrack",
                                 "32000 Hz,doubletrack"};
    for (unsigned i = 0; i < 4; ++i) {
        const auto b2 = static_cast<uint8_t>(0x90 | i << 2), b3 = static_cast<uint8_t>(i << 6);
        EXPECT_EQ(describe({0xFF, 0xFB, b2, b3}), std::string(",mpeg1/L3,128 kb/s,") + ends[i]);
    }
}

TEST(Mp3, ReadsEachSingleBitFromItsPlace) {
    for (unsigned bits = 0; bits < 16; ++bits) {
        MP3HeaderInfo info{};
        info.mode_extension = 77;
        const uint8_t header[4] = {0xFF, static_cast<uint8_t>(0xFA | (bits & 1)),
                                   static_cast<uint8_t>(0x90 | (bits & 2)),
                                   static_cast<uint8_t>(0x70 | (bits & 12))};
        ASSERT_EQ(mp3_api_check(&info, header, 4), 1u);
        EXPECT_EQ(info.protection | info.padding << 1 | info.home << 2 | info.rights << 3, bits);
        EXPECT_EQ(info.mode_extension, 77u) << "never joint stereo, so never written";
    }
}

TEST(Mp3, RefusesSilentlyWithoutSyncAndAloudForReservedValues) {
    LogRecorder log(1);
    EXPECT_EQ(describe({0xFE, 0xFB, 0x90, 0}), "no");
    EXPECT_EQ(describe({0xFF, 0xDB, 0x90, 0}), "no");
    EXPECT_TRUE(log.lines.empty());

    MP3HeaderInfo info{};
    info.version = 9;
    EXPECT_EQ(mp3_api_check(&info, Bytes{0xFF, 0xEB, 0x90, 0}.data(), 4), 0u);
    EXPECT_EQ(info.version, 0u);
    EXPECT_EQ(mp3_api_check(&info, Bytes{0xFF, 0xF9, 0x90, 0}.data(), 4), 0u);
    EXPECT_EQ(info.version, 3u);
    EXPECT_EQ(log.bodies(), (std::vector<std::string>{"[mpa]check  version   falied",
                                                      "[mpa]check  layerver   falied"}));
    EXPECT_EQ(log.lines[0].tag, "MP3");
}

TEST(Mp3, SurvivesNullsAndRecordsFilledByHand) {
    MP3HeaderInfo info{};
    const uint8_t header[4] = {};
    char out[128] = "kept";
    EXPECT_EQ(mp3_api_check(nullptr, header, 4), 0u);
    EXPECT_EQ(mp3_api_check(&info, nullptr, 4), 0u);
    for (const int length : {1, 2, 3}) {
        const Bytes cut(static_cast<size_t>(length), 0xFF);  // not a byte to spare
        EXPECT_EQ(mp3_api_check(&info, cut.data(), length), 0u);
    }
    EXPECT_EQ(mp3_api_getInfo(nullptr, out), out);
    info.version = info.layer = info.channel_mode = 4;
    info.bitrate = info.samplerate = -1;
    EXPECT_STREQ(mp3_api_getInfo(&info, out), "kept,-1 Hz,");
    EXPECT_EQ(mp3_innerapi_getBitRate(&info, header), 0u);
    EXPECT_EQ(mp3_innerapi_getSimpleRate(&info, header), 0u);
}

// A slip in one of the two tables shows where they disagree.
TEST(Mp3, BitRateTablesAgreeWithEachOther) {
    for (int row = 1; row < 15; ++row)
        for (int column = 0; column < 6; ++column)
            EXPECT_EQ(atoi(mp3_tables_bitrate_string[row][column]),
                      mp3_tables_bitrate[row][column]);
}

}  // namespace
