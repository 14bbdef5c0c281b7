// SPDX-License-Identifier: MIT
// What a survey may cost: memory below its bound for the worst of streams, time by the byte, and
// memory that runs short at any allocation is told and leaks nothing.
#include <gtest/gtest.h>

#include <functional>

#include "support/counted_new.h"
#include "support/survey_run.h"
#include "support/test_media.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;

constexpr size_t kMiB = size_t{1} << 20;
constexpr size_t kMostSection = 4096;

int count_text(void* to, const char*, size_t size) {
    *static_cast<uint64_t*>(to) += size;
    return 0;
}

ZvSurveyOptions with_history(int32_t history) {
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    options.history = history;
    return options;
}

// -> the most that a survey of the bytes holds, its JSON and records included
size_t memory_of(const Bytes& bytes, int32_t history = 0) {
    const size_t before = CountedNew::most_held = CountedNew::held;
    const ZvSurveyOptions options = with_history(history);
    SurveyRun run(&options);
    run.feed(bytes).finish();
    uint64_t written = 0;
    EXPECT_EQ(zvsurvey_json(*run, count_text, &written), 0);
    ZvSurveyTable table = {};
    zvsurvey_table(*run, 0, &table, sizeof table);
    return CountedNew::most_held - before;
}

// Sections as large as they may be: head, then `piece` repeated with a number in its first bytes.
using Entry = std::function<Bytes(int)>;
Section filled(int table_id, int extension, int number, const Bytes& fields, int first,
               const Entry& entry) {
    Bytes body = table_head(extension) + fields;
    for (int i = first;; ++i) {
        const Bytes next = entry(i);
        if (body.size() + next.size() + 4 > kMostSection - 3) break;
        append(body, next);
    }
    return Section(table_id, body).number(number, 255);
}

Bytes be16(int value) {
    Bytes out;
    append16(out, value);
    return out;
}

// Programmes whose PMT names as many streams as it can, and a PAT that makes every PID a PMT's.
void add_huge_pmts(TsStream& stream) {
    for (int section = 0; section < 9; ++section) {
        stream.add_section(0, filled(0, 1, section, {}, section * 1000, [&](int i) {
                               return i >= section * 1000 + 1000 ? Bytes(kMostSection, 0)
                                                                 : be16(i < 2048 ? i + 1 : 5) +
                                                                       be16(0xE000 | (i & 0x1FFF));
                           }));
    }
    for (int program = 0; program < 2048; ++program) {
        stream.add_section(
            program, filled(2, program + 1, 0, Bytes{0xFF, 0xFF, 0xF0, 0}, program, [&](int i) {
                return Bytes{0x06} + be16(0xE000 | (i * 7 & 0x1FFF)) + be16(0xF000);
            }));
    }
}

// Each table that is kept, in all its sections.
void add_huge_tables(TsStream& stream) {
    for (int number = 0; number < 256; ++number) {
        const auto add = [&](int pid, int table_id, const Bytes& fields, const Entry& entry) {
            stream.add_section(pid, filled(table_id, 1, number, fields, number * 300, entry));
        };
        add(0x11, 0x42, {0, 1, 0xFF}, [](int i) {
            return be16(i) + Bytes{0xFC, 0x80, 8, 0x48, 6, 1, 0, 3, 0xA6, 0xA6, 0xA6};
        });
        add(0x1FFB, 0xC8, {0, 255}, [](int i) {
            Bytes channel(24, 0x30);
            return channel + be16(i) + Bytes{0, 2, 0, 0, 0, 0};
        });
        add(0x10, 0x40, {0xFF, 0xFF}, [](int) { return Bytes{0x40, 1, 'n'}; });
        add(1, 1, {}, [](int i) { return Bytes{9, 4, 0, 1} + be16(i & 0x1FFF); });
    }
    for (int service = 0; service < 2048; ++service)
        stream.add_section(0x12, filled(0x4E, service, 0, Bytes(18, 0), 0,
                                        [](int) { return Bytes{0x4D, 4, 0, 0, 0, 0}; }));
    for (int extension = 0; extension < 16384; ++extension)
        stream.add(TsPacket(0x1E).section(Section(0x80, table_head(extension))));
}

// Every PID begins a section that never ends.
void add_open_sections(TsStream& stream) {
    for (int first = 0; first < 0x1FFF; first += 1000) {
        ProgramList programs;
        for (int pid = first; pid < std::min(first + 1000, 0x1FFF); ++pid)
            programs.push_back({0, pid});
        stream.add_section(0, pat(programs).number(first / 1000, 8));
    }
    for (int pid = 0; pid < 0x1FFF; ++pid) {
        stream.add(TsPacket(pid).section({0x50, 0xBF, 0xFD}));
        stream.add(pid, 22);
    }
}

// PCRs, time stamps and damage on every PID, and no clock that would let anything be judged.
void add_noise(TsStream& stream) {
    for (int round = 0; round < 12; ++round) {
        for (int pid = 0; pid < 0x1FFF; ++pid)
            stream.skip(pid, 1).add(TsPacket(pid)
                                        .start()
                                        .pcr(static_cast<uint64_t>(pid) << 18)
                                        .payload(PesHeader(0xE0).pts(0).build()));
    }
}

// PCRs, time stamps and tables of very many PIDs, at a constant rate.
void add_timed(TsStream& stream) {
    const auto now = [&stream] { return stream.bytes().size() / 188 * 9; };
    for (int round = 0; round < 20; ++round) {
        stream.add(TsPacket(0x1FF0).pcr(now()));
        for (int number = 0; number < (round < 3 ? 1100 : 300); ++number) {
            if (number < 300) stream.add(TsPacket(0x100 + number).pcr(now()));
            stream.add(TsPacket(0x100 + number).start().payload(PesHeader(0xE0).pts(now())));
        }
        for (int table_id = 0x80; table_id < 0xFE; ++table_id)
            for (int pid = 0x10; round < 3 && pid < 0x15; ++pid)
                stream.add(TsPacket(pid).section(short_section(table_id, {1})));
    }
}

// A programme that names the PIDs, so that their time stamps are compared with its PCR.
void add_programme_of_many(TsStream& stream) {
    std::vector<PmtStream> streams;
    for (int pid = 0x100; pid < 0x100 + 600; ++pid)
        streams.push_back({0x06, pid});
    stream.add(pat_packet({{1, kPmtPid}}));
    stream.add_section(kPmtPid, pmt(1, 0x1FF0, streams));
}

// -> bytes held by the survey of the worst stream known
size_t held_at_worst(int32_t history) {
    TsStream stream;
    if (history != 0) {
        add_programme_of_many(stream);
        add_timed(stream);
    }
    add_huge_pmts(stream);
    add_huge_tables(stream);
    add_noise(stream);
    add_open_sections(stream);
    // Events that wait for the next PCR.
    for (int i = 0; i < 70'000; ++i)
        stream.add(TsPacket(0x1FF0).transport_error());
    return memory_of(stream, history);
}

TEST(SurveyMemory, StaysBelowItsBoundWhateverComes) {
    const size_t held = held_at_worst(0);
    RecordProperty("KiB", static_cast<int>(held >> 10));
    EXPECT_LT(held, 64 * kMiB);
    EXPECT_GT(held, 32 * kMiB) << "the stream is no longer the worst";
}

TEST(SurveyMemory, StaysBelowItsBoundWithAHistory) {
    const size_t held = held_at_worst(1);
    RecordProperty("KiB", static_cast<int>(held >> 10));
    EXPECT_LT(held, 64 * kMiB);
    EXPECT_GT(held, 50 * kMiB) << "the stream is no longer the worst";
}

TEST(SurveyMemory, OfAHistoryHasABoundOfItsOwn) {
    TsStream stream;
    add_programme_of_many(stream);
    add_timed(stream);
    const size_t held = memory_of(stream, 1) - memory_of(stream);
    RecordProperty("KiB", static_cast<int>(held >> 10));
    EXPECT_LT(held, 20 * kMiB);
    EXPECT_GT(held, 16 * kMiB) << "not every row is in use";
}

TEST(SurveyMemory, OfAnOrdinaryStreamIsSmall) {
    for (const auto* name : {"three-programs.ts", "single-192.m2ts"})
        EXPECT_LT(memory_of(load_media(name), 1), 4 * kMiB) << name;
}

// A stream of every kind of table, event and damage.
Bytes eventful() {
    TsStream stream = one_programme();
    stream.add_section(0x10, Section(0x40, table_head(5) + Bytes{0xF0, 3, 0x40, 1, 'N', 0xF0, 0}));
    stream.add_section(1, Section(1, table_head(5) + Bytes{9, 4, 0, 1, 0xE3, 0}));
    stream.add_section(0x12, Section(0x4E, table_head(1) + Bytes(30, 0)));
    stream.add_section(0x14, short_section(0x70, {0xC0, 0x79, 0x12, 0x45, 0}));
    stream.add_section(0x1FFB, Section(0xC8, table_head(1) + Bytes(60, 1)));
    stream.add(kVideoPid, 3).skip(kVideoPid, 2).add(kVideoPid, 1).add(0x1FFF, 3);
    stream.add_section(0x11, Section(0x42, table_head(1) + Bytes(900, 1)).break_crc());
    stream.add_section(0, pat({{2, 0x200}, {1, kPmtPid}}).version(1));
    stream.add_section(kPmtPid, pmt(1, kVideoPid, {{0x1B, 0x300}}).version(1));
    for (int i = 0; i < 30; ++i) {
        const auto ticks = static_cast<uint64_t>(i) * 2700;
        stream.add(TsPacket(kVideoPid).pcr(ticks)).add(kVideoPid, 3);
        stream.add(TsPacket(kAudioPid).start().payload(PesHeader(0xC0).pts(ticks)));
        stream.add_section(0x14, short_section(0x70, {0xC0, 0x79, 0x12, 0x45, 0}));
    }
    Bytes bytes = stream;
    bytes.insert(bytes.end(), 400, 0);
    return bytes + TsStream().add(0x1FFF, 9);
}

// A whole life. -> the first call that did not succeed, and its result
std::pair<int, int> live(const Bytes& bytes) {
    const ZvSurveyOptions options = with_history(1);
    ZvSurvey* const survey = zvsurvey_new(&options);
    if (!survey) return {1, 0};
    int fed = 0;
    for (size_t at = 0; at < bytes.size() && fed == 0; at += 500)
        fed = zvsurvey_feed(survey, &bytes[at], std::min<size_t>(500, bytes.size() - at));
    zvsurvey_finish(survey);
    const long then = std::exchange(CountedNew::until_failure, -1);
    uint64_t written = 0;
    EXPECT_EQ(zvsurvey_json(survey, count_text, &written), 0) << "of what came before";
    if (fed != 0) {
        EXPECT_EQ(zvsurvey_feed(survey, "", 1), -1) << "and nothing more";
    }
    CountedNew::until_failure = then;
    const int json = zvsurvey_json(survey, count_text, &written);
    ZvSurveyTotals totals = {};
    ZvSurveyProgram program = {};
    ZvSurveyHistoryPcr pcr = {};
    const bool records = zvsurvey_totals(survey, &totals, sizeof totals) == 1 &&
                         zvsurvey_history_pcr(survey, 0, &pcr, sizeof pcr) == 1 &&
                         zvsurvey_program(survey, 0, &program, sizeof program) == 1;
    zvsurvey_free(survey);
    if (fed != 0) return {2, fed};
    if (json != 0) return {3, json};
    return {records ? 0 : 4, 0};
}

TEST(SurveyMemory, ThatRunsShortAtAnyAllocationIsToldAndNothingLeaks) {
    const Bytes bytes = eventful();
    int seen[5] = {};
    for (long number = 0;; ++number) {
        const long blocks = CountedNew::blocks;
        CountedNew::failed = false;
        CountedNew::until_failure = number;
        const auto [call, result] = live(bytes);
        CountedNew::until_failure = -1;
        ASSERT_EQ(CountedNew::blocks, blocks) << number;
        ASSERT_EQ(call != 0, CountedNew::failed) << number;
        ASSERT_EQ(result, call == 2 || call == 3 ? -1 : 0) << number;
        ++seen[call];
        if (call == 0) break;
        ASSERT_LT(number, 100'000);
    }
    EXPECT_GT(seen[1], 0);
    EXPECT_GT(seen[2], 50);
    EXPECT_GT(seen[3], 50);
}

}  // namespace
