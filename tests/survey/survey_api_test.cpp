// SPDX-License-Identifier: MIT
// The survey's functions as a host calls them: records beside the JSON, callbacks, options and
// records of other sizes, and what is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>

#include "support/survey_run.h"
#include "support/test_media.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using nlohmann::json;

// A stream with something in every record.
Bytes eventful() {
    TsStream stream = one_programme();
    stream.add_section(0x10, Section(0x40, table_head(5) + Bytes{0xF0, 3, 0x40, 1, 'N', 0xF0, 0}));
    stream.add_section(0x14, short_section(0x70, {0xC0, 0x79, 0x12, 0x45, 0}));
    stream.add(kVideoPid, 3).skip(kVideoPid, 2).add(kVideoPid, 1).add(0x1FFF, 3);
    stream.add(TsPacket(kAudioPid).transport_error()).add(TsPacket(kAudioPid).scrambled());
    stream.add_section(0x11, sdt({{1, 1, "a", "b"}}).break_crc());
    Bytes bytes = stream;
    bytes.insert(bytes.end(), 400, 0);
    append(bytes, TsStream().add(0x1FFF, 6));
    bytes.push_back(0x47);
    return bytes;
}

std::string text_of(const json& value) {
    return value.is_null() ? "" : value.get<std::string>();
}
std::string text_of(const char* value) {
    return value ? value : "";
}
json number(int32_t value) {
    return value == ZV_SURVEY_NONE ? json() : json(value);
}

TEST(SurveyRecords, SayWhatTheJsonSays) {
    SurveyRun run;
    const json all = run.feed(eventful()).finish().json();
    ZvSurveyTotals totals = {};
    ASSERT_EQ(zvsurvey_totals(*run, &totals, sizeof totals), 1);
    EXPECT_EQ(totals.packet_size, all["packet_size"]);
    EXPECT_EQ(totals.packets, all["packets"]);
    EXPECT_EQ(totals.bytes, all["bytes"]);
    EXPECT_EQ(totals.trailing_bytes, 1);
    EXPECT_EQ(totals.null_packets, 9);
    EXPECT_EQ(totals.transport_errors, 1);
    EXPECT_EQ(totals.skipped_bytes, 400);
    EXPECT_EQ(totals.byte_errors, 2);
    EXPECT_EQ(totals.sync_losses, 1);
    EXPECT_EQ(totals.crc_errors, 1);
    EXPECT_EQ(totals.continuity_errors, 1);
    EXPECT_EQ(totals.packets_lost, 2);
    EXPECT_EQ(totals.transport_stream_id, 1);
    EXPECT_EQ(totals.network_id, 5);
    EXPECT_STREQ(totals.network_name, "N");
    EXPECT_STREQ(totals.utc_first, "1993-10-13T12:45:00Z");
    EXPECT_STREQ(totals.utc_last, totals.utc_first);
    EXPECT_EQ(totals.services, 1);
    EXPECT_EQ(totals.events, all["events"]["total"]);
    EXPECT_EQ(std::tuple(totals.programs, totals.pids, totals.tables),
              std::tuple(all["programs"].size(), all["pids"].size(), all["tables"].size()));

    for (size_t i = 0; i < totals.pids; ++i) {
        ZvSurveyPid record = {};
        ASSERT_EQ(zvsurvey_pid(*run, i, &record, sizeof record), 1);
        const json& of = all["pids"][i];
        EXPECT_EQ(record.pid, of["pid"]);
        EXPECT_EQ(record.use, of["use"]);
        EXPECT_EQ(number(record.stream_type), of["stream_type"]);
        EXPECT_EQ(text_of(record.codec), text_of(of["codec"]));
        EXPECT_EQ(json({record.packets, record.scrambled_packets, record.transport_errors,
                        record.unit_starts, record.random_access_points, record.crc_errors}),
                  json({of["packets"], of["scrambled_packets"], of["transport_errors"],
                        of["unit_starts"], of["random_access_points"], of["crc_errors"]}));
        if (record.pid == 0x1FFF) continue;
        EXPECT_EQ(json({record.continuity_errors, record.packets_lost, record.duplicates,
                        record.signalled}),
                  json({of["continuity"]["errors"], of["continuity"]["lost"],
                        of["continuity"]["duplicates"], of["continuity"]["signalled"]}));
    }
    for (size_t i = 0; i < totals.tables; ++i) {
        ZvSurveyTable record = {};
        ASSERT_EQ(zvsurvey_table(*run, i, &record, sizeof record), 1);
        const json& of = all["tables"][i];
        EXPECT_EQ(json({record.pid, record.table_id, record.sections}),
                  json({of["pid"], of["table_id"], of["sections"]}));
        EXPECT_EQ(record.name, of["name"]);
        EXPECT_EQ(number(record.extension), of["extension"]);
        EXPECT_EQ(number(record.version), of["version"]);
        EXPECT_EQ(number(record.last_section_number), of["last_section_number"]);
    }
    for (size_t i = 0; i < totals.events; ++i) {
        ZvSurveyEvent record = {};
        ASSERT_EQ(zvsurvey_event(*run, i, &record, sizeof record), 1);
        const json& of = all["events"]["list"].at(i);
        EXPECT_TRUE(std::isnan(record.time_s));
        EXPECT_EQ(record.offset, of["offset"]);
        EXPECT_EQ(number(record.pid), of["pid"]);
        EXPECT_EQ(record.kind, of["kind"]);
        EXPECT_EQ(text_of(record.indicator), text_of(of["indicator"]));
        EXPECT_EQ(record.message, of["message"]);
    }
}

TEST(SurveyRecords, OfProgrammesServicesAndDamage) {
    SurveyRun run;
    run.feed(eventful()).finish();
    ZvSurveyProgram program = {};
    ASSERT_EQ(zvsurvey_program(*run, 0, &program, sizeof program), 1);
    EXPECT_EQ(program.program_number, 1);
    EXPECT_EQ(program.pmt_pid, kPmtPid);
    EXPECT_EQ(program.pmt_version, 0);
    EXPECT_EQ(program.pcr_pid, kVideoPid);
    EXPECT_EQ(program.scrambled, 1);
    EXPECT_EQ(program.streams, 2);
    ZvSurveyService service = {};
    ASSERT_EQ(zvsurvey_service(*run, 0, &service, sizeof service), 1);
    EXPECT_EQ(service.service_id, 1);
    ZvSurveyStream stream = {};
    ASSERT_EQ(zvsurvey_stream(*run, 0, 1, &stream, sizeof stream), 1);
    EXPECT_EQ(stream.pid, kAudioPid);
    EXPECT_STREQ(stream.codec, "aac");
    EXPECT_STREQ(stream.kind, "audio");
    EXPECT_STREQ(stream.languages, "eng");
    EXPECT_EQ(Bytes(stream.descriptors, stream.descriptors + stream.descriptors_size),
              (Bytes{0x0A, 4, 'e', 'n', 'g', 0}));
    EXPECT_STREQ(program.service_name, "Channel") << "other records leave it alone";
    EXPECT_STREQ(service.provider, program.service_provider);
    ZvSurveyCrcError crc = {};
    ASSERT_EQ(zvsurvey_crc_error(*run, 0, &crc, sizeof crc), 1);
    EXPECT_EQ(std::tuple(crc.offset, crc.pid, crc.table_id), std::tuple(14 * 188, 0x11, 0x42));
    ZvSurveySyncLoss loss = {};
    ASSERT_EQ(zvsurvey_sync_loss(*run, 0, &loss, sizeof loss), 1);
    EXPECT_EQ(std::tuple(loss.offset, loss.skipped_bytes), std::tuple(15 * 188, 400));
}

TEST(SurveyRecords, AreFilledAsFarAsTheCallerKnowsThem) {
    SurveyRun run;
    run.feed(eventful()).finish();
    struct Newer {
        ZvSurveyTotals known;
        uint64_t unknown;
    } newer = {{}, 99};
    EXPECT_EQ(zvsurvey_totals(*run, &newer.known, sizeof newer), 1);
    EXPECT_EQ(newer.unknown, 99);
    ZvSurveyTotals older = {};
    older.packets = 99;
    EXPECT_EQ(zvsurvey_totals(*run, &older, offsetof(ZvSurveyTotals, packets)), 1);
    EXPECT_EQ(older.bytes, newer.known.bytes);
    EXPECT_EQ(older.packets, 99);
}

TEST(SurveyRecords, ThatAreNotThereLeaveTheRecordAlone) {
    SurveyRun run;
    run.feed(eventful()).finish();
    ZvSurveyPid pid = {};
    pid.pid = 77;
    EXPECT_EQ(zvsurvey_pid(*run, 9999, &pid, sizeof pid), 0);
    for (const uint16_t absent : {uint16_t{0x555}, uint16_t{8192}, uint16_t{65535}})
        EXPECT_EQ(zvsurvey_pid_by_number(*run, absent, &pid, sizeof pid), 0);
    EXPECT_EQ(pid.pid, 77);
    ZvSurveyProgram program = {};
    EXPECT_EQ(zvsurvey_program(*run, 1, &program, sizeof program), 0);
    ZvSurveyStream stream = {};
    EXPECT_EQ(zvsurvey_stream(*run, 0, 2, &stream, sizeof stream), 0);
    EXPECT_EQ(zvsurvey_stream(*run, 1, 0, &stream, sizeof stream), 0);
    ZvSurveyService service = {};
    EXPECT_EQ(zvsurvey_service(*run, 1, &service, sizeof service), 0);
    ZvSurveyTable table = {};
    EXPECT_EQ(zvsurvey_table(*run, 99, &table, sizeof table), 0);
    ZvSurveyEvent event = {};
    EXPECT_EQ(zvsurvey_event(*run, 99, &event, sizeof event), 0);
    ZvSurveyCrcError crc = {};
    EXPECT_EQ(zvsurvey_crc_error(*run, 1, &crc, sizeof crc), 0);
    ZvSurveySyncLoss loss = {};
    EXPECT_EQ(zvsurvey_sync_loss(*run, 1, &loss, sizeof loss), 0);
    EXPECT_EQ(zvsurvey_pid(*run, 0, nullptr, 0), 0);
    EXPECT_EQ(zvsurvey_totals(nullptr, nullptr, 0), 0);
}

struct Told {
    std::vector<std::string> events;
    Bytes packets;
    uint64_t next = 0;
    std::vector<uint64_t> counts;
    ZvSurvey* survey = nullptr;
};

ZvSurveyOptions telling(Told& told) {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.arg = &told;
    options.on_event = [](void* to, const ZvSurveyEvent* event) {
        static_cast<Told*>(to)->events.push_back(std::string(event->kind) + " " +
                                                 std::to_string(event->offset));
    };
    options.on_packets = [](void* to, const uint8_t* packets, size_t packet_size, size_t count,
                            uint64_t offset) {
        Told& now = *static_cast<Told*>(to);
        EXPECT_GE(offset, now.next);
        now.next = offset + count * packet_size;
        for (size_t i = 0; i < count; ++i)
            now.packets.insert(now.packets.end(), packets + i * packet_size,
                               packets + i * packet_size + 188);
        ZvSurveyTotals totals = {};
        EXPECT_EQ(zvsurvey_totals(now.survey, &totals, sizeof totals), 1);
        EXPECT_EQ(totals.packets, now.packets.size() / 188) << "records of what was told";
    };
    return options;
}

TEST(SurveyCallbacks, TellEachEventAndPacketInOrder) {
    const Bytes bytes = eventful();
    for (const size_t piece : {size_t{1}, size_t{333}, bytes.size()}) {
        Told told;
        const ZvSurveyOptions options = telling(told);
        SurveyRun run(&options);
        told.survey = *run;
        const json all = run.feed(bytes, piece).finish().json();
        std::vector<std::string> listed;
        for (const auto& event : all["events"]["list"])
            listed.push_back(event["kind"].get<std::string>() + " " +
                             std::to_string(event["offset"].get<uint64_t>()));
        EXPECT_EQ(told.events, listed);
        Bytes packets(bytes.begin(), bytes.begin() + 15 * 188);
        packets.insert(packets.end(), bytes.begin() + 15 * 188 + 400, bytes.end() - 1);
        EXPECT_EQ(told.packets, packets);
    }
    Told last;  // the packet that no time code follows comes from a copy
    const ZvSurveyOptions options = telling(last);
    SurveyRun timed(&options);
    last.survey = *timed;
    const Bytes stream = load_media("single-192.m2ts");
    timed.feed(stream, 1000).finish();
    EXPECT_EQ(last.packets.size() / 188, stream.size() / 192);
    EXPECT_TRUE(std::equal(last.packets.end() - 188, last.packets.end(), stream.end() - 188));
}

TEST(SurveyOptions, OfAnotherVersionAreReadAsFarAsTheyGo) {
    Told told;
    struct Newer {
        ZvSurveyOptions known;
        void* unknown;
    } newer = {telling(told), &told};
    newer.known.size = sizeof newer;
    newer.known.on_packets = nullptr;
    SurveyRun(&newer.known).feed(eventful()).finish();
    EXPECT_FALSE(told.events.empty());
    told.events.clear();
    ZvSurveyOptions older = newer.known;
    older.size = offsetof(ZvSurveyOptions, on_event);
    older.on_packets = [](void*, const uint8_t*, size_t, size_t, uint64_t) { FAIL(); };
    SurveyRun(&older).feed(eventful()).finish();
    EXPECT_TRUE(told.events.empty());
}

int refuse_third(void* arg, const char*, size_t) {
    return ++*static_cast<int*>(arg) == 3 ? 42 : 0;
}

TEST(SurveyCalls, RefuseWhatMakesNoSense) {
    SurveyRun run;
    run.feed({});
    EXPECT_EQ(zvsurvey_feed(*run, nullptr, 0), 0);
    EXPECT_EQ(zvsurvey_feed(*run, nullptr, 1), -1);
    EXPECT_EQ(zvsurvey_feed(nullptr, "", 0), -1);
    int pieces = 0;
    EXPECT_EQ(zvsurvey_json(*run, refuse_third, &pieces), 42) << "the writer's own result";
    EXPECT_EQ(pieces, 3);
    EXPECT_EQ(zvsurvey_json(*run, nullptr, nullptr), -1);
    EXPECT_EQ(zvsurvey_json(nullptr, refuse_third, &pieces), -1);
    zvsurvey_finish(nullptr);
    zvsurvey_free(nullptr);
}

TEST(SurveyCalls, TakeNothingAfterTheEnd) {
    SurveyRun run;
    const Bytes bytes = eventful();
    const std::string at_end = run.feed(bytes).finish().text();
    EXPECT_EQ(zvsurvey_feed(*run, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(run.finish().text(), at_end);
}

TEST(SurveyJson, MayBeAskedForAtAnyTimeAndHasItsMembersInOrder) {
    SurveyRun run;
    const Bytes bytes = load_media("three-programs.ts");
    EXPECT_TRUE(run.json()["packet_size"].is_null());
    run.feed(std::span(bytes).first(5000));
    EXPECT_EQ(run.json()["bytes"], 5000);
    const std::string text = run.feed(std::span(bytes).subspan(5000)).finish().text();
    EXPECT_EQ(text, SurveyRun().feed(bytes).finish().text()) << "asking changes nothing";
    std::vector<std::string> names;
    const auto all = nlohmann::ordered_json::parse(text);
    for (const auto& member : all.items())
        names.push_back(member.key());
    EXPECT_EQ(names, (std::vector<std::string>{"packet_size", "bytes", "packets", "trailing_bytes",
                                               "null_packets", "transport_errors", "sync", "clock",
                                               "transport_stream_id", "network", "utc", "programs",
                                               "pids", "tables", "crc_errors", "crc_error_list",
                                               "tr101290", "events"}));
}

}  // namespace
