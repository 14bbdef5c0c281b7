// SPDX-License-Identifier: MIT
// What the survey reads in tables: sections of any cut, versions and changes, programmes, services,
// languages, conditional access, and what each PID is used for.
#include <gtest/gtest.h>

#include "support/survey_run.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using nlohmann::json;
using Kinds = std::vector<std::string>;

constexpr int kPat = 0, kCat = 1, kNit = 0x10, kSdt = 0x11, kEit = 0x12, kTdt = 0x14;

Bytes be16(int value) {
    Bytes out;
    append16(out, value);
    return out;
}

Bytes text(std::string_view chars) {
    return {chars.begin(), chars.end()};
}

Bytes ca(int system, int pid) {
    return descriptor(9, be16(system) + be16(0xE000 | pid));
}

Section nit(int network, std::string_view name, int table_id = 0x40) {
    const Bytes names = descriptor(0x40, text(name));
    return Section(table_id, table_head(network) + be16(0xF000 | static_cast<int>(names.size())) +
                                 names + be16(0xF000));
}

// A table of nothing but its head and some bytes, on a PID watched by standard.
Section some_table(int table_id, int extension, size_t size = 8) {
    return Section(table_id, table_head(extension) + Bytes(size, 0x55));
}

json tables_of(const TsStream& stream) {
    return survey_of(stream)["tables"];
}

TEST(SurveySections, AreGatheredOverPacketsAndCutOutOfOne) {
    TsStream stream;
    stream.add_section(kEit, some_table(0x50, 1, 4000));
    const Bytes three = some_table(0x50, 2).build() + some_table(0x50, 3).build() +
                        short_section(0x72, {1, 2, 3}) + Bytes{0xFF, 0x30, 1, 0};
    stream.add_section(kEit, three);
    // The end of one before the start of the next, by the pointer_field.
    const Bytes first = some_table(0x50, 4, 300), second = some_table(0x50, 5, 300);
    stream.add(TsPacket(kEit).section(Bytes(first.begin(), first.begin() + 183)));
    const Bytes rest(first.begin() + 183, first.end());
    stream.add(
        TsPacket(kEit).start().payload(Bytes{static_cast<uint8_t>(rest.size())} + rest + second));
    const size_t done = 183 - rest.size();
    // One more follows without a start, and stuffing ends them all.
    const Bytes tail(second.begin() + static_cast<ptrdiff_t>(done), second.end());
    const Bytes sixth = some_table(0x50, 6, 120);
    const size_t room = 184 - tail.size() % 184;
    ASSERT_LT(room, sixth.size());
    Bytes followers = tail + sixth;
    for (size_t at = 0; at < followers.size(); at += 184) {
        const auto end = std::min(at + 184, followers.size());
        stream.add(TsPacket(kEit).payload(Bytes(followers.begin() + static_cast<ptrdiff_t>(at),
                                                followers.begin() + static_cast<ptrdiff_t>(end))));
    }
    stream.add(TsPacket(kEit).payload(some_table(0x50, 7)));
    stream.add(kEit, 30);
    const json survey = survey_of(stream);
    EXPECT_EQ(survey["crc_errors"], 0);
    for (int extension = 1; extension <= 6; ++extension)
        EXPECT_EQ(entry(survey["tables"], {{"extension", extension}})["sections"], 1) << extension;
    EXPECT_EQ(survey["tables"].size(), 7) << "after stuffing only a start begins a section";
    EXPECT_TRUE(entry(survey["tables"], {{"table_id", 0x72}})["extension"].is_null());
}

TEST(SurveySections, AreDroppedWhenPacketsAreMissing) {
    const Bytes section = some_table(0x50, 1, 300);
    const auto part = [&](size_t at) {
        return Bytes(section.begin() + static_cast<ptrdiff_t>(at),
                     section.begin() + static_cast<ptrdiff_t>(std::min(at + 184, section.size())));
    };
    const auto begin = [&] {
        return TsPacket(kEit).section(Bytes(section.begin(), section.begin() + 183));
    };
    const auto end = [&] { return TsPacket(kEit).payload(part(183)); };
    const auto sections = [&](std::vector<TsPacket> packets) {
        TsStream stream;
        for (const TsPacket& packet : packets)
            stream.add(packet);
        const json survey = survey_of(stream.add(0x1FFF, 3));
        EXPECT_EQ(survey["crc_errors"], 0);
        return survey["tables"].size();
    };
    EXPECT_EQ(sections({begin().cc(0), end().cc(1)}), 1);
    EXPECT_EQ(sections({begin().cc(0), end().cc(2)}), 0) << "continuity";
    TsStream twice;
    twice.add(TsPacket(kEit).section(some_table(0x50, 1)).cc(3));
    twice.add(TsPacket(kEit).section(some_table(0x50, 1)).cc(3)).add(0x1FFF, 3);
    EXPECT_EQ(tables_of(twice).at(0)["sections"], 1) << "a duplicate is not read again";
    EXPECT_EQ(sections({begin().cc(0), begin().cc(0), end().cc(1)}), 1) << "a duplicate";
    EXPECT_EQ(sections({begin().cc(0), end().cc(1), end().cc(1)}), 1) << "a duplicate";
    TsPacket cut = TsPacket(kEit).adaptation(1).discontinuity();
    EXPECT_EQ(sections({begin().cc(0), TsPacket(cut).control(2).cc(0), end().cc(1)}), 1)
        << "signalled, but in order";
    EXPECT_EQ(sections({begin().cc(0), TsPacket(cut).control(2).cc(9), end().cc(10)}), 0);
    EXPECT_EQ(sections({begin().cc(0), end().transport_error().cc(1), end().cc(1)}), 1);
    EXPECT_EQ(sections({begin().cc(0), end().scrambled().cc(1), end().cc(2)}), 1);
    EXPECT_EQ(sections({begin().cc(0).scrambled(), end().cc(1)}), 0);
}

TEST(SurveySections, WithAWrongCrcAreCountedAndSayNothingElse) {
    TsStream stream;
    stream.add(0x1FFF, 2);
    stream.add(pat_packet({{1, 0x100}}));
    stream.add_section(kPat, pat({{2, 0x200}}).version(1).break_crc());
    stream.add_section(kEit, some_table(0x50, 1, 400).break_crc());
    stream.add_section(kTdt, short_section(0x73, {0xC0, 0x79, 0x12, 0x45, 0, 0xF0, 0, 1, 2, 3, 4}));
    stream.add(TsPacket(kSdt).section(Section(0x42, {0, 1, 0xC1})));
    stream.add(TsPacket(0x1FFB).section({0xC8, 0xB0, 0}));
    const json survey = survey_of(stream);
    EXPECT_EQ(survey["programs"].at(0)["program_number"], 1);
    EXPECT_EQ(survey["tables"].size(), 1);
    EXPECT_EQ(survey["crc_errors"], 5);
    EXPECT_EQ(survey["crc_error_list"].at(1),
              json::parse(R"({"offset": 752, "pid": 18, "table_id": 80})"));
    EXPECT_EQ(survey["crc_error_list"].at(3)["table_id"], 0x42)
        << "right, but too short for a long section";
    EXPECT_EQ(pid_of(survey, kEit)["crc_errors"], 1);
    EXPECT_TRUE(survey["utc"].is_null());
    EXPECT_EQ(event_kinds(survey),
              (Kinds{"program_added", "CRC_error", "CRC_error", "CRC_error", "CRC_error"}))
        << "2.2 does not look at the table of ATSC";
}

TEST(SurveyTables, CountSectionsAndVersionsInTheOrderOfTheirComing) {
    TsStream stream;
    for (const int version : {7, 3, 7, 31})
        stream.add_section(kNit, some_table(0x41, 9).version(version).number(1, 4));
    stream.add_section(kNit, some_table(0x41, 9).version(8).not_current().number(2, 5));
    stream.add_section(kNit, some_table(0x41, 8)).add_section(kNit, short_section(0x41, {1}));
    stream.add_section(kPat, some_table(0xFE, 1));
    const json tables = tables_of(stream);
    ASSERT_EQ(tables.size(), 4);
    EXPECT_EQ(tables[0]["pid"], 0) << "by PID, table and extension";
    EXPECT_TRUE(tables[0]["name"].is_null());
    EXPECT_EQ(tables[1], json::parse(R"({"pid": 16, "table_id": 65, "name": "NIT other",
        "extension": null, "version": null, "versions": [], "sections": 1,
        "last_section_number": null, "interval_ms": null})"));
    EXPECT_EQ(tables[2]["extension"], 8);
    EXPECT_EQ(tables[3]["versions"], json({7, 3, 31, 8}));
    EXPECT_EQ(tables[3]["version"], 8);
    EXPECT_EQ(tables[3]["last_section_number"], 5);
    EXPECT_EQ(tables[3]["sections"], 5);
}

TEST(SurveyTables, ThatAreNotCurrentChangeNothing) {
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}}));
    stream.add_section(kPat, pat({{2, 0x200}}).version(1).not_current());
    stream.add_section(kPmtPid, pmt(1, 0x100, {}).not_current());
    stream.add_section(kSdt, sdt({{1, 1, "p", "next"}}).not_current());
    stream.add_section(kNit, nit(5, "next").not_current());
    stream.add_section(kCat, Section(1, table_head(0xFFFF) + ca(1, 0x50)).not_current());
    stream.add(0x50, 1);
    const json survey = survey_of(stream);
    EXPECT_EQ(survey["programs"].size(), 1);
    EXPECT_TRUE(survey["programs"][0]["pmt_version"].is_null());
    EXPECT_TRUE(survey["programs"][0]["service"].is_null());
    EXPECT_TRUE(survey["network"].is_null());
    EXPECT_EQ(pid_of(survey, 0x50)["use"], "unreferenced");
    EXPECT_EQ(survey["tables"].size(), 5) << "and yet they are counted";
    EXPECT_EQ(survey["tables"][0]["versions"], json({0, 1}));
}

TEST(SurveyPrograms, FollowTheLatestPat) {
    const auto numbers = [](const json& survey) {
        json out = json::array();
        for (const auto& program : survey["programs"])
            out.push_back(program["program_number"]);
        return out;
    };
    TsStream stream;
    stream.add_section(kPat, pat({{9, 0x109}, {0, 0x300}, {1, 0x101}, {2, 0x102}}));
    stream.add_section(0x101, pmt(1, 0x201, {{0x1B, 0x201}}));
    EXPECT_EQ(numbers(survey_of(stream)), json({9, 1, 2}));
    EXPECT_EQ(survey_of(stream)["transport_stream_id"], 1);
    stream.add_section(kPat, pat({{3, 0x103}}).number(1, 1));  // another section of it
    EXPECT_EQ(numbers(survey_of(stream)), json({9, 1, 2, 3}));
    stream.add_section(kPat, pat({{9, 0x109}, {1, 0x101}, {2, 0x112}}).version(1));
    stream.add_section(0x109, pmt(1, 0x1FFF, {}));  // not its PID
    stream.add_section(0x102, some_table(0x50, 5));
    stream.add_section(0x300, nit(77, "Far Network"));
    const json survey = survey_of(stream);
    EXPECT_EQ(numbers(survey), json({9, 1, 2}));
    EXPECT_EQ(survey["programs"][1]["pcr_pid"], 0x201) << "what is known of those that stay";
    EXPECT_EQ(survey["programs"][2]["pmt_pid"], 0x112);
    EXPECT_EQ(entry(survey["tables"], {{"pid", 0x102}})["sections"], 1) << "it stays watched";
    EXPECT_TRUE(survey["network"].is_null()) << "its PID is no longer the network's";
    EXPECT_EQ(pid_of(survey, 0x102)["use"], "unreferenced");
    const json& events = survey["events"]["list"];
    EXPECT_EQ(event_kinds(survey),
              (Kinds{"program_added", "program_added", "program_added", "program_added",
                     "pat_changed", "program_added", "program_removed", "program_removed"}));
    EXPECT_EQ(events.at(5)["message"], "programme 2, PMT 0x112");
    EXPECT_EQ(events.at(7)["message"], "programme 3, PMT 0x103, is gone");

    const Section other(0, Bytes{0, 2, 0xC3, 0, 0, 0, 4, 0xE1, 4});  // the version stays
    stream.add_section(kPat, pat({{5, 0x105}}).version(1).number(1, 1));
    EXPECT_EQ(numbers(survey_of(stream.add_section(kPat, other))), json({4}));
    EXPECT_EQ(survey_of(stream)["transport_stream_id"], 2);
}

TEST(SurveyPrograms, TellEachStreamOfTheirPmt) {
    TsStream stream;
    stream.add(pat_packet({{7, kPmtPid}}));
    const Bytes languages = descriptor(0x0A, text("eng") + Bytes{0} + text("fra") + Bytes{0}) +
                            descriptor(0x0A, text("eng") + Bytes{1});
    const Bytes subtitles = descriptor(0x59, text("deu") + Bytes{0x10, 0, 1, 0, 2});
    const Bytes teletext = descriptor(0x56, text("nor") + Bytes{8, 0} + text("fin") + Bytes{16, 1});
    const Bytes vbi = descriptor(0x46, text("s\tv") + Bytes{8, 0}) + ca(0x500, 0x1F3);
    Bytes body = table_head(7) + be16(0xE000 | 0x201) + be16(0xF000 | 12) + ca(0x0B00, 0x1F1) +
                 ca(0x0100, 0x1F2);
    const std::pair<int, Bytes> streams[] = {
        {0x1B, {}},
        {0x0F, languages},
        {0x06, subtitles},
        {0x06, teletext},
        {0x06, vbi},
        {0x86, {}},
        {0x05, descriptor(0xFE, Bytes(200, 0)) + descriptor(0xFE, Bytes(100, 0))},
        {0x81, descriptor(5, text("EAC3"))}};
    int pid = 0x201;
    for (const auto& [type, descriptors] : streams) {
        body = body + Bytes{static_cast<uint8_t>(type)} + be16(0xE000 | pid++) +
               be16(0xF000 | static_cast<int>(descriptors.size())) + descriptors;
    }
    stream.add_section(kPmtPid, Section(2, body).version(12));
    stream.add_section(0x206, short_section(0xFC, Bytes(20, 1)));
    stream.add_section(0x1F2, short_section(0x80, Bytes(20, 1)));
    stream.add_section(0x1F3, short_section(0x81, Bytes(20, 1)));
    stream.add(TsPacket(0x208).scrambled(3)).add(0x202, 1);
    const json survey = survey_of(stream);
    const json& program = survey["programs"].at(0);
    EXPECT_EQ(program["pmt_version"], 12);
    EXPECT_EQ(program["pcr_pid"], 0x201);
    EXPECT_EQ(program["descriptors"], "09040b00e1f109040100e1f2");
    EXPECT_EQ(program["ca_system_ids"], json({0x100, 0x500, 0xB00}));
    EXPECT_EQ(program["scrambled"], true);
    const json expected = json::parse(R"([["h264","video",[]], ["aac","audio",["eng","fra"]],
        ["dvb_subtitle","subtitle",["deu"]], ["dvb_teletext","subtitle",["nor","fin"]],
        ["dvb_teletext","subtitle",["s\ufffdv"]], ["scte_35","data",[]], [null,"data",[]],
        ["eac3","audio",[]]])");
    ASSERT_EQ(program["streams"].size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const json& stream_json = program["streams"][i];
        EXPECT_EQ(stream_json["pid"], 0x201 + i);
        EXPECT_EQ(json({stream_json["codec"], stream_json["kind"], stream_json["languages"]}),
                  expected[i]);
    }
    EXPECT_EQ(program["streams"][2]["descriptors"],
              "5908646575100001"
              "0002");
    EXPECT_EQ(entry(survey["tables"], {{"pid", 0x206}})["name"], "splice information");
    EXPECT_EQ(entry(survey["tables"], {{"pid", 0x1F2}})["sections"], 1) << "ECM";
    EXPECT_EQ(entry(survey["tables"], {{"pid", 0x1F3}})["sections"], 1) << "of a stream";
    EXPECT_EQ(pid_of(survey, 0x206)["use"], "sections");
    EXPECT_EQ(pid_of(survey, 0x206)["codec"], "scte_35");
}

TEST(SurveyPrograms, TellWhatChangedInTheirPmt) {
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}}));
    stream.add_section(kPmtPid, pmt(1, 0x201, {{0x1B, 0x201}, {0x0F, 0x202}}));
    stream.add_section(kPmtPid, pmt(1, 0x201, {{0x1B, 0x201}, {0x0F, 0x202}}));
    stream.add_section(kPmtPid, pmt(1, 0x201, {{0x1B, 0x201}, {0x06, 0x203}}).version(1));
    stream.add_section(kPmtPid, pmt(2, 0x300, {{0x1B, 0x301}}));  // of no programme
    const json survey = survey_of(stream);
    EXPECT_EQ(event_kinds(survey),
              (Kinds{"program_added", "pmt_changed", "stream_appeared", "stream_vanished"}));
    EXPECT_EQ(survey["events"]["list"].at(2)["pid"], 0x203);
    EXPECT_EQ(survey["events"]["list"].at(3)["pid"], 0x202);
    EXPECT_EQ(survey["events"]["list"].at(1)["message"], "PMT of programme 1, version 1");
    EXPECT_EQ(survey["events"]["list"].at(1)["offset"], 3 * 188);
    EXPECT_EQ(survey["programs"][0]["streams"].size(), 2);
    EXPECT_TRUE(survey["events"]["list"].at(1)["indicator"].is_null());
}

Bytes channel(std::string_view name, int number, int type) {
    Bytes out;
    for (const char c : name)
        append16(out, c);
    out.resize(24, 0);
    return out + be16(number) + be16(0x0FC0 | type) + be16(1) + be16(0xFC00);
}

TEST(SurveyServices, AreNamedByTheSdtAndThenByVirtualChannels) {
    TsStream stream;
    stream.add(pat_packet({{1, 0x101}, {2, 0x102}, {3, 0x103}}));
    stream.add_section(kSdt, sdt({{1, 0x19, "Old", "Old"}}));
    stream.add_section(kSdt, sdt({{1, 0x19, "Makers", "\x05Kan\xE7"}, {8, 2, "", "x"}}).version(1));
    stream.add_section(kSdt,
                       sdt({{3, 1, "other", "stream"}}).version(2).number(0, 0).not_current());
    stream.add_section(kSdt,
                       Section(0x46, table_head(2) + Bytes{0, 1, 0xFF} + be16(3) + Bytes{0xFC} +
                                         be16(0x8007) + descriptor(0x48, {1, 0, 2, 'n', 'o'})));
    stream.add_section(0x1FFB, Section(0xC8, table_head(1) + Bytes{0, 2} + channel("ONE", 1, 2) +
                                                 channel("TWO", 2, 3)));
    const Bytes unnamed = descriptor(0x5D, {1, 0, 2, 'n', 'o'});
    stream.add_section(kSdt, Section(0x42, table_head(1) + Bytes{0, 1, 0xFF} + be16(3) +
                                               Bytes{0xFC} + be16(0x8007) + unnamed)
                                 .version(1)
                                 .number(1, 1));
    stream.add_section(kEit, sdt({{3, 1, "not", "here"}}).version(1).number(2, 2));
    const json survey = survey_of(stream);
    EXPECT_EQ(survey["programs"][0]["service"], json::parse(R"({"name": "Kanç",
        "provider": "Makers", "type": 25, "type_name": "H.264 HD digital television"})"));
    EXPECT_EQ(
        survey["programs"][1]["service"],
        json::parse(R"({"name": "TWO", "provider": null, "type": 3, "type_name": "ATSC audio"})"));
    EXPECT_TRUE(survey["programs"][2]["service"].is_null());
    EXPECT_EQ(entry(survey["events"]["list"], {{"kind", "sdt_changed"}})["message"],
              "SDT version 1, transport stream 0x0001");
}

TEST(SurveyServices, HaveAPresentEvent) {
    const auto eit = [](int number, const Bytes& events) {
        return Section(0x4E, table_head(1) + be16(1) + be16(2) + Bytes{1, 0x4E} + events)
            .number(number, 1);
    };
    const auto event = [](std::string_view title, Bytes start) {
        const Bytes named = descriptor(
            0x4D, text("eng") + Bytes{static_cast<uint8_t>(title.size())} + text(title) + Bytes{0});
        return be16(1) + start + Bytes{0x01, 0x30, 0x05} +
               be16(0x8000 | static_cast<int>(named.size())) + named;
    };
    TsStream stream;
    stream.add(pat_packet({{1, 0x101}}));
    stream.add_section(kEit, eit(1, event("later", Bytes(5, 0))));
    EXPECT_TRUE(survey_of(stream)["programs"][0]["now"].is_null());
    stream.add_section(kEit, eit(0, event("News", {0xC0, 0x79, 0x12, 0x45, 0x00})));
    EXPECT_EQ(
        survey_of(stream)["programs"][0]["now"],
        json::parse(R"({"title": "News", "start": "1993-10-13T12:45:00Z", "duration_s": 5405})"));
    stream.add_section(kEit, eit(0, event("", Bytes(5, 0xFF))));
    EXPECT_TRUE(survey_of(stream)["programs"][0]["now"]["start"].is_null());
    stream.add_section(kEit, eit(0, {}).version(1));
    EXPECT_TRUE(survey_of(stream)["programs"][0]["now"].is_null());
}

TEST(SurveyNetwork, HasNameAndTime) {
    TsStream stream;
    stream.add(pat_packet({{0, 0x300}, {1, 0x101}}));
    stream.add_section(kNit, nit(4, "other", 0x41)).add_section(0x300, nit(5, "Home"));
    stream.add_section(kTdt, short_section(0x70, {0xE6, 0x1C, 0x23, 0x59, 0x58}));
    stream.add_section(kTdt, short_section(0x70, {0xE4, 0x09, 0x2A, 0x59, 0x58}));  // no BCD
    stream.add_section(kTdt, short_section(0x70, {0xE4}));
    stream.add_section(kEit, short_section(0x70, {0, 0, 0, 0, 0}));
    Bytes tot = short_section(0x73, {0xC0, 0x79, 0x12, 0x45, 0x01, 0xF0, 0, 0, 0, 0, 0});
    const uint32_t crc = zvcrc_api_CRC32(tot.data(), static_cast<int>(tot.size()) - 4);
    tot.resize(tot.size() - 4);
    append32(tot, crc);
    const json before = survey_of(stream);
    EXPECT_EQ(before["network"], json::parse(R"({"network_id": 5, "name": "Home"})"));
    EXPECT_EQ(before["utc"]["first"], before["utc"]["last"]);
    EXPECT_EQ(before["utc"]["first"], "2020-02-29T23:59:58Z");
    EXPECT_EQ(survey_of(stream.add_section(kTdt, tot))["utc"],
              json::parse(R"({"first": "2020-02-29T23:59:58Z", "last": "1993-10-13T12:45:01Z"})"));
    stream.add_section(kNit, nit(6, "Away").version(0));
    EXPECT_EQ(survey_of(stream)["network"]["name"], "Away");
}

// PIDs that tables name, and those by standard.
TEST(SurveyPids, AreUsedAsTheTablesSay) {
    TsStream stream;
    stream.add_section(kPat, pat({{0, 0x300}, {5, 0x301}, {2, 0x301}}));
    const Section access(1, table_head(0xFFFF) + ca(0x100, 0x302));
    stream.add_section(kCat, access);
    stream.add_section(0x301, pmt(5, 0x303, {{0x02, 0x304, ca(0x100, 0x305)}, {0x03, 0x306}}));
    stream.add_section(0x301, pmt(2, 0x304,
                                  {{0x06, 0x307, descriptor(0x6A, {0})},
                                   {0x06, 0x308, descriptor(0x59, text("eng"))},
                                   {0x06, 0x309},
                                   {0x0D, 0x30A},
                                   {0x0F, 0x304}}));
    stream.add_section(0x302, short_section(0x82, {1, 2}));
    const std::pair<int, const char*> uses[] = {
        {0, "pat"},          {1, "cat"},       {2, "tsdt"},         {0x10, "nit"},
        {0x11, "sdt_bat"},   {0x12, "eit"},    {0x13, "rst"},       {0x14, "tdt_tot"},
        {0x1FFB, "psip"},    {0x1FFF, "null"}, {3, "reserved"},     {0x1E, "reserved"},
        {0x300, "nit"},      {0x301, "pmt"},   {0x302, "emm"},      {0x305, "ecm"},
        {0x304, "video"},    {0x306, "audio"}, {0x308, "subtitle"}, {0x309, "data"},
        {0x30A, "sections"}, {0x303, "pcr"},   {0x307, "audio"},    {0x30B, "unreferenced"}};
    for (const auto& [pid, use] : uses)
        stream.add(pid, 1);
    const json survey = survey_of(stream);
    for (const auto& [pid, use] : uses)
        EXPECT_EQ(pid_of(survey, pid)["use"], use) << pid;
    const json shared = pid_of(survey, 0x304);
    EXPECT_EQ(shared["programs"], json({2, 5}));
    EXPECT_EQ(shared["stream_type"], 2) << "the first programme of the PAT";
    EXPECT_EQ(pid_of(survey, 0x301)["programs"], json({2, 5}));
    EXPECT_EQ(pid_of(survey, 0x305)["programs"], json({5}));
    EXPECT_EQ(pid_of(survey, 0x303)["programs"], json({5}));
    EXPECT_EQ(pid_of(survey, 0x302)["programs"], json::array());
    EXPECT_TRUE(pid_of(survey, 0x300)["stream_type"].is_null());
    EXPECT_EQ(entry(survey["tables"], {{"pid", 0x302}})["table_id"], 0x82) << "EMM";
    std::vector<int> order;
    for (const auto& pid : survey["pids"])
        order.push_back(pid["pid"]);
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

// The type 0x86 is audio, not sections, in a programme of that registration.
TEST(SurveyPids, OfAProgrammeRegisteredAsHdmv) {
    const Bytes hdmv = descriptor(5, text("HDMV"));
    Bytes body = table_head(1) + be16(0xFFFF) + be16(0xF000 | static_cast<int>(hdmv.size())) + hdmv;
    for (const int type : {0x82, 0x83, 0x86})
        body = body + Bytes{static_cast<uint8_t>(type)} + be16(0xE200 | type) + be16(0xF000);
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}})).add_section(kPmtPid, Section(2, body));
    stream.add_section(0x286, short_section(0xFC, {1})).add(0x282, 1).add(0x283, 1);
    const json survey = survey_of(stream);
    EXPECT_EQ(pid_of(survey, 0x282)["codec"], "dts");
    EXPECT_EQ(pid_of(survey, 0x283)["codec"], "truehd");
    EXPECT_EQ(pid_of(survey, 0x286)["use"], "audio");
    EXPECT_TRUE(survey["programs"][0]["pcr_pid"].is_null());
    EXPECT_EQ(survey["tables"].size(), 2);
}

TEST(SurveyTables, ListOnlySoMany) {
    TsStream many;
    ProgramList programs;
    for (int section = 0; section < 3; ++section) {
        programs.clear();
        for (int i = 0; i < 1000; ++i)
            programs.push_back({1 + section * 1000 + i, 0x20 + i});
        many.add_section(kPat, pat(programs).number(section, 2));
    }
    const json left_out = survey_of(many);
    EXPECT_EQ(left_out["programs"].size(), 2048);
    EXPECT_EQ(left_out["programs_left_out"], 952);

    TsStream tables;
    for (int i = 0; i < 16390; ++i)
        tables.add(TsPacket(kEit).section(some_table(0x50, i)));
    for (int i = 0; i < 1005; ++i)
        tables.add(TsPacket(kEit).section(some_table(0x50, i).break_crc()));
    const json survey = survey_of(tables);
    EXPECT_EQ(survey["tables"].size(), 16384);
    EXPECT_EQ(survey["tables_left_out"], 6);
    EXPECT_EQ(survey["crc_errors"], 1005);
    EXPECT_EQ(survey["crc_error_list"].size(), 1000);
    EXPECT_EQ(survey["events"]["list"].size(), 1000);
    EXPECT_EQ(survey["events"]["total"], 1005);
    EXPECT_FALSE(survey_of(one_programme()).contains("programs_left_out"));
}

}  // namespace
