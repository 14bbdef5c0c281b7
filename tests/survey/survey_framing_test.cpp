// SPDX-License-Identifier: MIT
// The survey's packets: where they start, what lies between them, what their headers say, and
// whether their continuity counters are in order.
#include <gtest/gtest.h>

#include "support/survey_run.h"
#include "support/test_media.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using nlohmann::json;

constexpr size_t kPacket = 188;

Bytes packets(int count) {
    return TsStream().add(kVideoPid, count);
}

Bytes without_sync(Bytes bytes, std::initializer_list<size_t> packets) {
    for (const size_t packet : packets)
        bytes[packet * kPacket] = 0;
    return bytes;
}

// A 192-byte stream: the time code of packet i is code(i).
template <typename Code>
Bytes time_coded(int count, Code code) {
    Bytes out;
    const Bytes plain = packets(count);
    for (int i = 0; i < count; ++i) {
        append32(out, code(i));
        const auto at = plain.begin() + static_cast<ptrdiff_t>(kPacket) * i;
        out.insert(out.end(), at, at + kPacket);
    }
    return out;
}

// packets, skipped, trailing, byte errors, losses
json account(const Bytes& bytes) {
    const json survey = survey_of(bytes);
    const json& sync = survey["sync"];
    return {survey["packets"], sync["skipped_bytes"], survey["trailing_bytes"], sync["byte_errors"],
            sync["losses"]};
}

// What the sizes and counts add up to is the input, less what a cut first time code lacks.
void expect_account(const SurveyRun& run, size_t bytes) {
    ZvSurveyTotals totals = {};
    ASSERT_EQ(zvsurvey_totals(*run, &totals, sizeof totals), 1);
    ASSERT_EQ(totals.bytes, bytes);
    if (totals.packet_size == 0) return;
    const uint64_t code = totals.packet_size == 192 ? 4 : 0;
    const uint64_t lacking = code - std::min(code, totals.first_sync_offset);
    EXPECT_EQ(bytes + lacking,
              totals.packets * totals.packet_size + totals.skipped_bytes + totals.trailing_bytes);
}

TEST(SurveyFraming, OnePlaceWithoutSyncByteIsAnErrorAndTwoAreALoss) {
    const Bytes stream = packets(12);
    EXPECT_EQ(account(stream), json({12, 0, 0, 0, 0}));
    EXPECT_EQ(account(without_sync(stream, {6})), json({11, 188, 0, 1, 0}));
    EXPECT_EQ(account(without_sync(stream, {6, 8})), json({10, 376, 0, 2, 0}));
    EXPECT_EQ(account(without_sync(stream, {11})), json({11, 188, 0, 1, 0})) << "the last place";
    EXPECT_EQ(account(without_sync(stream + Bytes(100, 0), {11})), json({11, 188, 100, 1, 0}));
    EXPECT_EQ(account(without_sync(stream, {10, 11})), json({10, 376, 0, 2, 1}));

    const json lost = survey_of(without_sync(stream, {6, 7}));
    EXPECT_EQ(lost["sync"]["byte_errors"], 2);
    EXPECT_EQ(lost["sync"]["loss_list"],
              json::parse(R"([{"offset": 1128, "skipped_bytes": 376}])"));
    EXPECT_EQ(event_kinds(lost),
              (std::vector<std::string>{"Sync_byte_error", "Sync_byte_error", "TS_sync_loss",
                                        "Continuity_count_error"}));
    EXPECT_EQ(lost["events"]["list"].at(1)["offset"], 7 * kPacket) << "the second place";
    EXPECT_EQ(pid_of(lost, kVideoPid)["continuity"]["lost"], 2);
}

TEST(SurveyFraming, AfterALossFivePacketStartsInARowAreAStart) {
    Bytes noise(400, 0);
    for (size_t i = 0; i < 4; ++i)  // four are none
        noise.resize(10 + i * kPacket + 1, 0), noise.back() = 0x47;
    noise.resize(10 + 4 * kPacket + 5, 0);
    const Bytes stream = packets(6) + noise + packets(8);
    const json survey = survey_of(stream);
    EXPECT_EQ(survey["packets"], 14);
    EXPECT_EQ(survey["sync"]["skipped_bytes"], noise.size());
    EXPECT_EQ(survey["sync"]["loss_list"][0]["skipped_bytes"], noise.size());
    EXPECT_EQ(account(packets(6) + Bytes(500, 0) + packets(2)), json({8, 500, 0, 2, 1}))
        << "fewer do when the input ends";
    EXPECT_EQ(account(packets(6) + Bytes(5000, 0)), json({6, 5000, 0, 2, 1}));
    EXPECT_EQ(account(packets(6) + Bytes(187, 0x47)), json({6, 0, 187, 0, 0}));
}

TEST(SurveyFraming, FindsTheFirstPacketAfterForeignBytes) {
    for (const size_t foreign : {size_t{1}, size_t{187}, size_t{5000}}) {
        const Bytes stream = Bytes(foreign, 'x') + packets(7) + Bytes(20, 0);
        const json survey = survey_of(stream);
        EXPECT_EQ(survey["sync"]["first_sync_offset"], foreign);
        EXPECT_EQ(survey["packets"], 7);
        EXPECT_EQ(survey["trailing_bytes"], 20);
        EXPECT_EQ(survey["sync"]["skipped_bytes"], foreign);
    }
    for (const Bytes& none :
         {Bytes(), Bytes(100'000, 0), Bytes{'G', 'A', 'I', 'N'}, packets(4) + Bytes(1, 0)})
        EXPECT_TRUE(survey_of(none)["packet_size"].is_null());
    EXPECT_EQ(survey_of(packets(1))["packets"], 1) << "an input of nothing but a packet";
}

TEST(SurveyFraming, ATimeCodeMayBeginLikeAPacket) {
    for (const uint32_t first : {0u, 0x47u}) {
        const Bytes stream =
            time_coded(9, [&](int i) { return first << 24 | static_cast<uint32_t>(i) << 9; });
        for (const size_t cut : {0u, 1u, 3u, 4u}) {
            const Bytes rest(stream.begin() + static_cast<ptrdiff_t>(cut), stream.end());
            const json survey = survey_of(rest);
            EXPECT_EQ(survey["packet_size"], 192);
            EXPECT_EQ(survey["packets"], 9);
            EXPECT_EQ(survey["sync"]["first_sync_offset"], 4 - cut);
            EXPECT_EQ(survey["sync"]["skipped_bytes"], 0);
            EXPECT_EQ(survey["trailing_bytes"], 0);
            EXPECT_EQ(survey["pids"].size(), 1) << "of the right column";
        }
    }
    const auto late = [](int i) { return i < 9 ? 0x01000000u : 0x47000000u; };
    Bytes lost = time_coded(20, late);
    lost[4 + 7 * 192] = lost[4 + 8 * 192] = 0;
    EXPECT_EQ(account(lost), json({18, 384, 0, 2, 1}));
    EXPECT_EQ(account(time_coded(9, late) + Bytes(1000, 0)), json({9, 1000, 0, 2, 1}));
    EXPECT_EQ(account(time_coded(9, late) + Bytes(4, 0)), json({9, 0, 4, 0, 0}));
    EXPECT_EQ(survey_of(lost)["sync"]["loss_list"][0]["offset"], 4 + 7 * 192);
}

// Cut in two at each place, and cut off at each place.
TEST(SurveyFraming, SaysTheSameOfTheSamplesHoweverTheyAreCut) {
    for (const auto* name : {"single.ts", "single-192.m2ts", "single-204.ts"}) {
        SCOPED_TRACE(name);
        Bytes bytes = load_media(name);
        bytes.resize(1300);
        bytes[1234] = 0x47;
        const std::string whole = SurveyRun().feed(bytes).finish().text();
        for (size_t cut = 0; cut <= bytes.size(); ++cut) {
            const std::span all(bytes);
            SurveyRun two;
            two.feed(all.first(cut)).feed(all.subspan(cut));
            ASSERT_EQ(two.finish().text(), whole) << cut;
            SurveyRun prefix;
            expect_account(prefix.feed(all.first(cut), cut + 1).finish(), cut);
        }
        const Bytes long_one = load_media(name);
        const std::string of_all = SurveyRun().feed(long_one).finish().text();
        for (const size_t piece : {7U, 188U, 191U, 1316U, 70'000U})
            EXPECT_EQ(SurveyRun().feed(long_one, piece).finish().text(), of_all) << piece;
    }
}

TEST(SurveyFraming, DamageSaysTheSameHoweverItIsCut) {
    Bytes bytes = without_sync(packets(40), {6, 7, 14, 20, 21, 39});
    bytes.insert(bytes.begin() + 30 * kPacket, 50, 0x47);
    bytes.insert(bytes.begin(), 77, 0x47);
    const std::string whole = SurveyRun().feed(bytes).finish().text();
    for (size_t piece = 1; piece < 1500; piece += piece < 200 ? 1 : 97)
        ASSERT_EQ(SurveyRun().feed(bytes, piece).finish().text(), whole) << piece;
    SurveyRun run;
    expect_account(run.feed(bytes).finish(), bytes.size());
}

TEST(SurveyFraming, ListsAThousandLosses) {
    Bytes stream;
    for (int i = 0; i < 1010; ++i)
        append(stream, packets(6) + Bytes(2 * kPacket, 0));
    const json survey = survey_of(stream + packets(6));
    EXPECT_EQ(survey["sync"]["losses"], 1010);
    EXPECT_EQ(survey["sync"]["loss_list"].size(), 1000);
    EXPECT_EQ(survey["sync"]["loss_list"][999]["skipped_bytes"], 2 * kPacket);
    EXPECT_EQ(survey["sync"]["skipped_bytes"], 1010 * 2 * kPacket);
    EXPECT_EQ(survey["events"]["list"].size(), 1000);
    EXPECT_GT(survey["events"]["total"], 3030);
}

// errors, lost, duplicates, signalled
json continuity(const TsStream& stream, int pid = kVideoPid) {
    const json of = pid_of(survey_of(stream), pid)["continuity"];
    return {of["errors"], of["lost"], of["duplicates"], of["signalled"]};
}

TsPacket video(int cc, uint8_t byte = 0) {
    return TsPacket(kVideoPid).cc(cc).payload(Bytes(184, byte));
}

TEST(SurveyContinuity, JudgesEachPacketByTheOneBefore) {
    const TsPacket no_payload = TsPacket(kVideoPid).adaptation(183).control(2);
    const auto bare = [&](int cc) { return TsPacket(no_payload).cc(cc); };
    const struct {
        const char* story;
        std::vector<TsPacket> packets;
        json expected;
    } stories[] = {
        {"in order, over the end", {video(15), video(0), video(1)}, {0, 0, 0, 0}},
        {"three missing", {video(15), video(3)}, {1, 3, 0, 0}},
        {"one back", {video(5), video(4)}, {1, 14, 0, 0}},
        {"repeated once", {video(5), video(5), video(6)}, {0, 0, 1, 0}},
        {"repeated twice", {video(5), video(5), video(5)}, {1, 0, 1, 0}},
        {"repeated with other bytes", {video(5), video(5, 1)}, {1, 0, 0, 0}},
        {"two pairs", {video(5), video(5), video(6), video(6)}, {0, 0, 2, 0}},
        {"no payload, same", {video(5), bare(5), video(6)}, {0, 0, 0, 0}},
        {"no payload, moved on", {video(5), bare(6), video(7)}, {1, 0, 0, 0}},
        {"control 0 has no payload", {video(5), video(5).control(0), video(6)}, {0, 0, 0, 0}},
        {"signalled", {video(5), video(9).discontinuity(), video(10)}, {0, 0, 0, 1}},
        {"signalled on the first", {video(5).discontinuity(), video(6)}, {0, 0, 0, 1}},
        {"transport error in between",
         {video(5), video(6).transport_error(), video(7)},
         {1, 1, 0, 0}},
        {"duplicate with another PCR", {video(5).pcr(1), video(5).pcr(99), video(6)}, {0, 0, 1, 0}},
        {"same PCR, another flag",
         {video(5).pcr(1), video(5).pcr(1).random_access(), video(6)},
         {1, 0, 0, 0}},
    };
    for (const auto& [story, packets, expected] : stories) {
        TsStream stream;
        stream.add(0x200, 8);
        for (const TsPacket& packet : packets)
            stream.add(packet);
        EXPECT_EQ(continuity(stream.add(0x200, 2)), expected) << story;
        EXPECT_EQ(SurveyRun().feed(stream.bytes(), kPacket).finish().json(), survey_of(stream))
            << story << ": the packet before is gone";
    }
    const json null =
        pid_of(survey_of(TsStream().add(TsPacket(0x1FFF).cc(1)).add(0x1FFF, 5)), 0x1FFF);
    EXPECT_TRUE(null["continuity"].is_null());
    EXPECT_EQ(null["use"], "null");
}

TEST(SurveyPackets, CountsWhatTheirHeadersSay) {
    TsStream stream;
    stream.add(video(0).start()).add(video(0).start());
    stream.add(video(1).random_access().scrambled()).add(video(1).random_access().scrambled());
    stream.add(video(2).start().control(0)).add(TsPacket(0x1FFF)).add(TsPacket(0x1FFF));
    stream.add(video(9).start().random_access().scrambled().transport_error());
    stream.add(TsPacket(0x300).transport_error()).add(TsPacket(0x1FFF).transport_error());
    const json survey = survey_of(stream);
    EXPECT_EQ(survey["packets"], 10);
    EXPECT_EQ(survey["null_packets"], 2);
    EXPECT_EQ(survey["transport_errors"], 3);
    const json of = pid_of(survey, kVideoPid);
    EXPECT_EQ(of["packets"], 5) << "duplicates count, transport errors do not";
    EXPECT_EQ(of["unit_starts"], 2);
    EXPECT_EQ(of["random_access_points"], 2);
    EXPECT_EQ(of["scrambled_packets"], 2);
    EXPECT_EQ(of["transport_errors"], 1);
    const json damaged = pid_of(survey, 0x300);
    EXPECT_EQ(damaged["packets"], 0);
    EXPECT_EQ(damaged["transport_errors"], 1);
    EXPECT_EQ(pid_of(survey, 0x1FFF)["packets"], 2);
}

TEST(SurveyPackets, TellWhenScramblingChangesWhereverTheInputIsCut) {
    TsStream stream;
    stream.add(TsPacket(kVideoPid).adaptation(183).control(2).cc(15));
    stream.add(video(0)).add(video(1)).add(video(2).scrambled());
    stream.add(TsPacket(kVideoPid).adaptation(183).control(2).cc(2));
    stream.add(video(3)).add(video(4)).add(video(5).start());
    const json survey = survey_of(stream);
    EXPECT_EQ(event_kinds(survey),
              (std::vector<std::string>{"scrambling_changed", "scrambling_changed"}));
    EXPECT_EQ(survey["events"]["list"].at(0)["offset"], 3 * kPacket);
    EXPECT_EQ(survey["events"]["list"].at(1)["offset"], 5 * kPacket);
    EXPECT_EQ(SurveyRun().feed(stream.bytes(), kPacket).finish().json(), survey);
}

TEST(SurveyPackets, AnAdaptationFieldOverItsPacketLeavesNoPayload) {
    TsStream stream;
    for (int i = 0; i < 6; ++i)
        stream.add(TsPacket(0).adaptation(183).flags(0x50).start().cc(i));
    Bytes bytes = stream;
    for (size_t at = 4; at < bytes.size(); at += kPacket)
        bytes[at] = 200;
    const json of = pid_of(survey_of(bytes), 0);
    EXPECT_EQ(of["unit_starts"], 6);
    EXPECT_EQ(of["random_access_points"], 6);
    EXPECT_EQ(of["continuity"]["errors"], 0) << "it counts as one with payload";
    EXPECT_EQ(of["crc_errors"], 0);
}

}  // namespace
