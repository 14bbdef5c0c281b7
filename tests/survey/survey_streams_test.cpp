// SPDX-License-Identifier: MIT
// What a survey says of elementary streams: details from their own bytes, changes, contradictions,
// splices, and the events of services.
#include <gtest/gtest.h>

#include "support/survey_run.h"
#include "support/test_media.h"
#include "support/ts_builder.h"

namespace zvtest {
namespace {

using Json = nlohmann::json;

// Beginnings of streams that encoders made, and the splice of a broadcaster.
const Bytes kH264High = {0,    0,    0,    1,    0x09, 0xF0, 0,    0,    0,    1, 0x67, 0x64, 0,
                         0x1E, 0xAC, 0xD9, 0x40, 0xB4, 0x12, 0x6C, 0x04, 0x40, 0, 0,    3,    0,
                         0x40, 0,    0,    0x0C, 0x83, 0xC5, 0x8B, 0x65, 0x80, 0, 0,    0,    1};
const Bytes kH264Cropped = {0,    0,    0,    1,    0x09, 0xF0, 0,    0,    0,    1,    0x67,
                            0x42, 0xC0, 0x28, 0xDA, 0x01, 0xE0, 0x08, 0x9F, 0x97, 0xFF, 0,
                            0x2D, 0,    0x40, 0x10, 0,    0,    0x03, 0,    0x3E, 0x90, 0,
                            0x0E, 0xA6, 0,    0xF1, 0x83, 0x2A, 0,    0,    0,    1};
const Bytes kSplice = {0xFC, 0x30, 0x2F, 0,    0,    0,    0,    0,    0,    0xFF, 0xFF, 0xF0, 0x14,
                       0x05, 0x48, 0,    0,    0x8F, 0x7F, 0xEF, 0xFE, 0x73, 0x69, 0xC0, 0x2E, 0xFE,
                       0,    0x52, 0xCC, 0xF5, 0,    0,    0,    0,    0,    0x0A, 0,    0x08, 0x43,
                       0x55, 0x45, 0x49, 0,    0,    0x01, 0x35, 0x62, 0xDB, 0xA3, 0x0A};

// The packet is filled up with what reads as the data of a picture.
TsPacket unit(const Bytes& es) {
    return TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts(0).build() + es +
                                               Bytes{0x65, 0x88, 0x80});
}

TsStream programme_of(const PmtStream& stream) {
    TsStream made;
    made.add(pat_packet({{1, kPmtPid}}));
    made.add(TsPacket(kPmtPid).section(pmt(1, kVideoPid, {stream})));
    return made;
}

Json first_stream(const Json& survey) {
    return survey.at("programs").at(0).at("streams").at(0);
}

TEST(SurveyStreams, DescribesSamplesAsAPlayerWould) {
    const Json survey = survey_of(load_media("single.ts"));
    const Json& streams = survey.at("programs").at(0).at("streams");
    EXPECT_EQ(streams.at(0).at("details"), Json({{"width", 320},
                                                 {"height", 180},
                                                 {"frame_rate", 25.0},
                                                 {"profile", "High"},
                                                 {"level", "1.3"},
                                                 {"interlaced", false},
                                                 {"bit_depth", 8},
                                                 {"chroma", "4:2:0"}}));
    EXPECT_EQ(streams.at(1).at("details").at("sample_rate"), 48000);
    EXPECT_EQ(streams.at(1).at("details").at("profile"), "LC");
}

TEST(SurveyStreams, WaitsForTheUnitThatHasParameters) {
    TsStream stream = programme_of({0x1B, kVideoPid});
    for (int i = 0; i < 100; ++i)
        stream.add(unit({0, 0, 1, 0x41, 0x9A})).add(kVideoPid, 20);
    stream.add(unit(kH264High)).add(kVideoPid, 2).add(unit({0, 0, 1, 0x41}));
    const Json details = first_stream(survey_of(stream)).at("details");
    ASSERT_TRUE(details.is_object());
    EXPECT_EQ(details.at("height"), 576);
    EXPECT_EQ(details.at("profile"), "High");
}

TEST(SurveyStreams, ReadsParametersOverSeveralPacketsAndOnlyWhenNoneIsLost) {
    const Bytes head(kH264High.begin(), kH264High.begin() + 16);
    const Bytes rest(kH264High.begin() + 16, kH264High.end());
    const Bytes begin = PesHeader(0xE0).pts(0).build() + head;
    const auto survey_with = [&](int lost) {
        TsStream stream = programme_of({0x1B, kVideoPid});
        stream.add(TsPacket(kVideoPid)
                       .start()
                       .adaptation(183 - static_cast<int>(begin.size()))
                       .payload(begin));
        stream.skip(kVideoPid, lost);
        stream.add(TsPacket(kVideoPid).payload(rest + Bytes{0x65, 0x88, 0x80}));
        return first_stream(survey_of(stream.add(unit({0, 0, 1, 0x41}))));
    };
    EXPECT_EQ(survey_with(0).at("details").at("width"), 720);
    EXPECT_TRUE(survey_with(1).at("details").is_null());
}

TEST(SurveyStreams, TellsAPictureThatChanges) {
    // With a new map, and without one where a decoder can begin.
    const auto change = [](bool with_map) {
        TsStream stream = programme_of({0x1B, kVideoPid});
        stream.add(unit(kH264High).random_access()).add(unit({0, 0, 1, 0x41}));
        if (with_map)
            stream.add(
                TsPacket(kPmtPid).section(pmt(1, kVideoPid, {{0x1B, kVideoPid}}).version(1)));
        stream.add(unit(kH264Cropped).random_access()).add(unit({0, 0, 1, 0x41}));
        return survey_of(stream.add(unit({0, 0, 1, 0x41})));
    };
    for (const bool with_map : {true, false}) {
        const Json survey = change(with_map);
        const Json event = entry(survey.at("events").at("list"), {{"kind", "stream_changed"}});
        ASSERT_TRUE(event.is_object()) << with_map;
        EXPECT_EQ(event.at("message"), "picture 1920x1080, 720x576 before");
        EXPECT_EQ(first_stream(survey).at("details").at("width"), 1920);
    }
}

TEST(SurveyStreams, BelievesTheBytesAndTellsThatTheMapIsWrong) {
    SurveyRun run;
    EXPECT_EQ(first_stream(run.feed(programme_of({0x02, kVideoPid}).add(0x1FFF, 20).bytes()).json())
                  .at("codec"),
              "mpeg2video");
    TsStream units;
    for (const Bytes& es : {kH264High, Bytes{0, 0, 1, 0x41}, Bytes{0, 0, 1, 0x41}})
        units.add(unit(es).random_access());
    const Json survey = run.feed(units.bytes()).finish().json();
    EXPECT_EQ(first_stream(survey).at("codec"), "h264");
    EXPECT_EQ(pid_of(survey, kVideoPid).at("codec"), "h264");
    const Json event = entry(survey.at("events").at("list"), {{"kind", "stream_contradicts_pmt"}});
    ASSERT_TRUE(event.is_object());
    EXPECT_EQ(event.at("message"), "the PMT says mpeg2video, the stream is h264");
}

TEST(SurveyStreams, ForgetsDetailsOfAStreamThatIsAnotherOneNow) {
    TsStream stream = programme_of({0x1B, kVideoPid});
    stream.add(unit(kH264High)).add(unit({0, 0, 1, 0x41})).add(unit({0, 0, 1, 0x41}));
    stream.add(TsPacket(kPmtPid).section(pmt(1, kVideoPid, {{0x86, kVideoPid}}).version(1)));
    const Json survey = survey_of(stream);
    EXPECT_EQ(first_stream(survey).at("codec"), "scte_35");
    EXPECT_EQ(first_stream(survey).at("kind"), "data");
    EXPECT_TRUE(first_stream(survey).at("details").is_null());
    EXPECT_EQ(event_kinds(survey), (std::vector<std::string>{"program_added", "pmt_changed"}));
}

TEST(SurveyStreams, TellsSplicesOfSoundSectionsOnTheirPid) {
    Bytes damaged = kSplice;
    damaged[20] ^= 1;
    TsStream stream = programme_of({0x86, kVideoPid});
    stream.add_section(kVideoPid, kSplice).add_section(kVideoPid, damaged);
    stream.add_section(0x12, kSplice);
    const Json survey = survey_of(stream);
    ASSERT_EQ(std::ranges::count(event_kinds(survey), "splice"), 1);
    const Json splice = entry(survey.at("events").at("list"), {{"kind", "splice"}});
    EXPECT_EQ(splice.at("pid"), kVideoPid);
    EXPECT_NE(splice.at("message").get<std::string>().find("splice_insert"), std::string::npos);
}

TEST(SurveyStreams, TellsThePagesOfSubtitlesAndTeletext) {
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}}));
    stream.add(TsPacket(kPmtPid).section(pmt(
        1, 0x1FFF,
        {{0x06, 0x200, descriptor(0x59, {'d', 'e', 'u', 0x20, 0, 1, 0, 2})},
         {0x06, 0x201, descriptor(0x56, {'e', 'n', 'g', 0x09, 0x00, 'e', 'n', 'g', 0x10, 0x88})},
         {0x06, 0x202}})));
    const Json streams = survey_of(stream).at("programs").at(0).at("streams");
    EXPECT_EQ(
        streams.at(0).at("pages"),
        Json::array(
            {{{"page", 1}, {"language", "deu"}, {"use", "subtitle"}, {"hearing_impaired", true}}}));
    EXPECT_EQ(streams.at(1).at("pages").at(0).at("use"), "teletext");
    EXPECT_EQ(streams.at(1).at("pages").at(1).at("page"), 888);
    EXPECT_EQ(streams.at(1).at("pages").at(1).at("use"), "subtitle");
    EXPECT_FALSE(streams.at(2).contains("pages"));
}

TEST(SurveyStreams, TellsWhatIsOnNowAndNext) {
    const auto event = [](int number, std::string_view title) {
        Bytes body = table_head(1) + Bytes{0, 1, 0, 1, 1, 0x4E, 0, 7};
        append(body, {0xF5, 0x37, 0x20, 0x15, 0x00, 0x01, 0x30, 0x00});  // 2030-10-01 20:15, 1:30 h
        Bytes text = {'e', 'n', 'g', static_cast<uint8_t>(title.size())};
        text.insert(text.end(), title.begin(), title.end());
        text.push_back(0);
        const Bytes told = descriptor(0x4D, text);
        append16(body, 0x8000 | static_cast<int>(told.size()));
        return Section(0x4E, body + told).number(number, 1);
    };
    TsStream stream = one_programme();
    stream.add_section(0x12, event(0, "News")).add_section(0x12, event(1, "Film"));
    const Json programme = survey_of(stream).at("programs").at(0);
    EXPECT_EQ(programme.at("now"),
              Json({{"title", "News"}, {"start", "2030-10-01T20:15:00Z"}, {"duration_s", 5400}}));
    EXPECT_EQ(programme.at("next").at("title"), "Film");
}

}  // namespace
}  // namespace zvtest
