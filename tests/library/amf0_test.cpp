// SPDX-License-Identifier: MIT
// The AMF0 parser: what lands in the table, how much is consumed, and what hostile bodies cost.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "flv/flv_internal.h"
#include "support/flv_builder.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"

namespace {

using namespace zvtest;

// A script body, parsed where it ends at an unreadable page.
struct Script {
    std::unique_ptr<FLVContext> context = std::make_unique<FLVContext>();
    AMFTable& table = context->payload.script;
    uint8_t consumed = 0;

    explicit Script(const Bytes& body) {
        GuardedBuffer block(body);
        context->data_len = static_cast<uint32_t>(body.size());
        consumed = flv_innerapi_getpayload_script(context.get(), block.data(), 0);
    }
    double number(int i) const {
        double value;
        memcpy(&value, table.values[i], sizeof value);
        return value;
    }
    std::string text(int i) const { return reinterpret_cast<const char*>(table.values[i]); }
};

TEST(Amf0, JoinsTheHexDigitsOfLengths) {
    const auto length = [](const Bytes& b) { return flv_innerapi_getstringlen(b.data()); };
    EXPECT_EQ(length({0x00, 0x0A}), 10u);
    EXPECT_EQ(length({0x01, 0x20}), 288u);
    EXPECT_EQ(length({0x01, 0x02}), 18u);
    EXPECT_EQ(length({0x01, 0x00}), 16u);
    EXPECT_EQ(length({0x0F, 0x0F}), 255u);
    const auto count = [](const Bytes& b) { return flv_innerapi_getkeylen(b.data()); };
    EXPECT_EQ(count({0, 0, 0, 13}), 13u);
    EXPECT_EQ(count({0, 0, 1, 0}), 16u);
    EXPECT_EQ(count({255, 255, 255, 255}), 0xFFFFFFFFu);
}

TEST(Amf0, FillsTheTableFromAnEcmaArray) {
    const Bytes body = Amf()
                           .string("onMetaData")
                           .ecma_array(2)
                           .number("duration", 12.5)
                           .number("width", 640)
                           .end();
    ASSERT_EQ(body.size(), 56u);
    const Script s(body);
    EXPECT_EQ(s.consumed, 56);
    EXPECT_EQ(s.table.count, 2u);
    EXPECT_STREQ(s.table.keys[0], "duration");
    EXPECT_EQ(s.number(0), 12.5);
    EXPECT_STREQ(s.table.keys[1], "width");
    EXPECT_EQ(s.number(1), 640);
}

TEST(Amf0, FillsTheTableFromAnObjectAndCountsUpToItsEnd) {
    const Amf properties =
        Amf().boolean("stereo", 1).string("who", "me").long_string("long", "text");
    const Script s(Amf().object().raw(properties).end().boolean("", 9));
    EXPECT_EQ(s.table.count, 3u);
    EXPECT_EQ(s.table.types[0], 1);
    EXPECT_EQ(s.table.values[0][0], 1);
    EXPECT_EQ(s.table.types[1], 2);
    EXPECT_EQ(s.text(1), "me");
    EXPECT_EQ(s.table.types[2], 12);
    EXPECT_EQ(s.text(2), "text");
}

TEST(Amf0, ConsumesAnEndMarkerBehindAnArrayOnlyWhenItIsComplete) {
    auto table = std::make_unique<AMFTable>();
    EXPECT_EQ(flv_innerapi_parseecmaarray(Bytes{0, 0, 0, 0, 0, 0, 9}.data(), table.get()), 7);
    EXPECT_EQ(flv_innerapi_parseecmaarray(Bytes{0, 0, 0, 0, 0, 0, 8}.data(), table.get()), 4);
}

TEST(Amf0, PassesOverOtherTypesByOneByteAndNamesTheUnknown) {
    auto table = std::make_unique<AMFTable>();
    LogRecorder log(4);
    for (const uint8_t type : Bytes{4, 5, 6, 7, 9, 10, 11, 0x41}) {
        uint8_t end = 0;
        EXPECT_EQ(flv_innerapi_parsescript(&type, table.get(), 0, 1, &end), 1);
        EXPECT_EQ(end, type == 9);
        EXPECT_EQ(flv_innerapi_parsescript(&type, table.get(), 0, 1, nullptr), 1);
    }
    EXPECT_EQ(log.bodies(4), std::vector<std::string>(2, "type---------65(A)[0-12]"));
}

TEST(Amf0, LetsANestedObjectOverwriteFromTheFirstEntryOn) {
    const Amf inner = Amf().object("in").number("w", 2).end();
    const Script s(Amf().object().number("duration", 1).raw(inner).number("last", 3).end());
    EXPECT_STREQ(s.table.keys[0], "wuration");
    EXPECT_EQ(s.number(0), 2);
    EXPECT_STREQ(s.table.keys[2], "last");
    EXPECT_EQ(s.table.count, 3u);
}

TEST(Amf0, ReadsAnObjectInAnArrayAsEntriesOfTheArray) {
    const Script s(Amf().ecma_array(3).object("a").number("b", 2).end());
    EXPECT_EQ(s.table.count, 0u);
    EXPECT_STREQ(s.table.keys[0], "a");
    EXPECT_STREQ(s.table.keys[1], "b");
    EXPECT_EQ(s.number(1), 2);
}

TEST(Amf0, CutsKeysAndTextsToTheirSlotsAndStoresNothingBeyondTheLastEntry) {
    Amf body;
    body.ecma_array(0x120).long_string(std::string(40, 'k'), std::string(400, 's'));
    for (int i = 1; i < 0x120; ++i)
        body.number("n", i);
    const Script s(body.end());
    EXPECT_EQ(std::string(s.table.keys[0]), std::string(31, 'k'));
    EXPECT_EQ(s.table.values[0][255], 's');
    EXPECT_EQ(s.table.types[1], 0);
    EXPECT_EQ(s.number(255), 255);
}

TEST(Amf0, SurvivesLengthsBeyondTheBody) {
    for (const uint64_t claimed : {100ull, 0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFBull}) {
        const Script s(Amf().object().long_string_of("s", claimed).raw({'a', 'b'}));
        EXPECT_EQ(s.text(0), "ab");
        EXPECT_EQ(s.table.count, 1u);
        EXPECT_EQ(s.consumed, 1 + 3 + 5 + 2);
    }
    const Script key(Amf().object().raw({0xFF, 0xFF, 'k', 'e', 'y'}));
    EXPECT_STREQ(key.table.keys[0], "key");
}

TEST(Amf0, AHugeCountEndsWithTheBody) {
    const Script most(Amf().ecma_array(0x7FFFFFFF).number("a", 1));
    EXPECT_EQ(most.table.count, 0x7FFFFFFFu);
    EXPECT_STREQ(most.table.keys[0], "a");
    const Script negative(Amf().ecma_array(0xFFFFFFFF).number("a", 1));
    EXPECT_EQ(negative.table.count, 0xFFFFFFFFu);
    EXPECT_STREQ(negative.table.keys[0], "") << "as a signed number the count is below zero";
}

TEST(Amf0, EntersThirtyTwoLevelsAndNoMore) {
    for (const int depth : {31, 32, 33}) {
        Amf body;
        for (int i = 0; i < 40; ++i)
            body.object().end();  // side by side there may be any number
        for (int i = 1; i < depth; ++i)
            body.object().key("");
        const Script s(body.object().boolean("in", 7));
        EXPECT_EQ(s.table.types[0] == 1 && s.table.values[0][0] == 7, depth <= 32) << depth;
    }
}

}  // namespace
