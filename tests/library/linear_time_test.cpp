// SPDX-License-Identifier: MIT
// Hostile input may not cost more per byte than its size says. Work is counted, not timed: the
// library is compiled once more so that each basic block it runs calls a counter, and the bytes of
// its memory operations are added.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>

#include "flv/flv_internal.h"
#include "mpeg/mpegts/context.h"
#include "mpeg/ts_packet/pes_header.h"
#include "mpeg/ts_packet/ts_packet.h"
#include "mpeg/ts_tools/packet_feed.h"
#include "support/analyser.h"
#include "support/ts_builder.h"
#include "ts_tools.h"
#include "zvlog.h"
#include "zvsurvey.h"

namespace {
uint64_t work;
}

extern "C" {

void __sanitizer_cov_trace_pc() {
    work += 1;
}

// The linker gives every call of memset and its like in this program to these.
void* __real_memset(void* to, int byte, size_t size);
void* __real_memcpy(void* to, const void* from, size_t size);
void* __real_memmove(void* to, const void* from, size_t size);
void* __real_memchr(const void* in, int byte, size_t size);

void* __wrap_memset(void* to, int byte, size_t size) {
    work += size;
    return __real_memset(to, byte, size);
}
void* __wrap_memcpy(void* to, const void* from, size_t size) {
    work += size;
    return __real_memcpy(to, from, size);
}
void* __wrap_memmove(void* to, const void* from, size_t size) {
    work += size;
    return __real_memmove(to, from, size);
}
// What it looked at, not what it was allowed to.
void* __wrap_memchr(const void* in, int byte, size_t size) {
    void* const found = __real_memchr(in, byte, size);
    work +=
        found == nullptr
            ? size
            : static_cast<size_t>(static_cast<const char*>(found) - static_cast<const char*>(in));
    return found;
}

}  // extern "C"

namespace {

using namespace zvtest;

constexpr size_t kSmall = size_t{1} << 20;
constexpr size_t kLarge = 16 * kSmall;
constexpr uint64_t kMostWorkPerByte = 64;

using Make = std::function<Bytes(size_t)>;
using Use = std::function<void(const Bytes&)>;

uint64_t work_of(const Use& use, const Bytes& bytes) {
    const uint64_t before = work;
    use(bytes);
    return work - before;
}

// A tenth of slack: a quadratic share of even a hundredth of the small input's work breaks it. No
// byte may cost more than a few looks at it, either.
void expect_linear(const Make& make, const Use& use, const char* what,
                   uint64_t most_work_per_byte = kMostWorkPerByte) {
    const uint64_t small = work_of(use, make(kSmall)), large = work_of(use, make(kLarge));
    EXPECT_GT(small, kSmall / 10'000) << what << ": nothing was counted";
    EXPECT_LE(large, 16 * small + 16 * small / 10) << what;
    EXPECT_LE(large, most_work_per_byte * kLarge) << what;
    testing::Test::RecordProperty(what, std::to_string(large / (kLarge >> 10)) + " per KiB");
}

Bytes repeated(const Bytes& pattern, size_t size) {
    Bytes bytes(size);
    const size_t first = std::min(size, pattern.size());
    std::copy_n(pattern.begin(), first, bytes.begin());
    for (size_t done = first; done < size; done *= 2)
        std::copy_n(bytes.data(), std::min(done, size - done), bytes.data() + done);
    return bytes;
}

Bytes sync_bytes(size_t size) {
    return Bytes(size, 0x47);
}

Bytes sync_bytes_but_the_last_packet(size_t size) {
    Bytes bytes = sync_bytes(size);
    memset(bytes.data() + size - 204, 0, 204);
    return bytes;
}

// Three starts agree, the fourth never does.
Bytes syncs_that_break(size_t size) {
    TsStream stream;
    stream.add(0x100, 3);
    Bytes pattern = stream;
    append(pattern, Bytes(187, 0x47));
    pattern.push_back(0);
    return repeated(pattern, size);
}

void search(const Bytes& bytes) {
    zvsi_api_tsOffsetInBuf(bytes.data(), static_cast<int>(bytes.size()));
    mpegts_api_getTsPktSize3(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void feed(const Bytes& bytes, size_t piece) {
    const auto feeder = std::make_unique<zv::PacketFeed>();
    for (size_t at = 0; at < bytes.size(); at += piece) {
        feeder->append(std::span(bytes).subspan(at, std::min(piece, bytes.size() - at)));
        while (!feeder->next().empty()) {
        }
    }
    feeder->finish();
    while (!feeder->next().empty()) {
    }
}

void analyse(const Bytes& bytes) {
    Analyser analyser;
    analyser.parse(bytes, ZV_TS_CHECK_CC | ZV_TS_PES_TIMING);
}

class LinearTime : public testing::Test {
  protected:
    void SetUp() override { zvlog_api_setLoglevel(0); }
};

TEST_F(LinearTime, SearchForPackets) {
    const std::pair<const char*, Make> inputs[] = {
        {"no sync byte", [](size_t size) { return Bytes(size); }},
        {"sync bytes", sync_bytes},
        {"sync bytes but the last packet", sync_bytes_but_the_last_packet},
        {"syncs that break", syncs_that_break}};
    for (const auto& [name, make] : inputs) {
        SCOPED_TRACE(name);
        expect_linear(make, search, "search");
        expect_linear(
            make, [](const Bytes& bytes) { feed(bytes, 65536); }, "feed");
        expect_linear(
            make, [](const Bytes& bytes) { feed(bytes, 13); }, "feed in small pieces");
        expect_linear(make, analyse, "analyse");
    }
}

TEST_F(LinearTime, SearchForAPesHeaderThatNeverCompletes) {
    constexpr int kReadBehind = 32;  // the caller guarantees a header at the last offset
    const Bytes start_codes[] = {{0, 0, 1}, {0, 0, 1, 0xE0}, {1}, {0, 0, 1, 0xE0, 0, 0}};
    for (const Bytes& pattern : start_codes) {
        const auto find = [](const Bytes& bytes) {
            EXPECT_EQ(pes_find(bytes.data(), static_cast<int32_t>(bytes.size()) - kReadBehind), -1);
        };
        expect_linear([&](size_t size) { return repeated(pattern, size); }, find, "PES search");
    }
}

// One tag with a body of that size.
Bytes script_tag(const Bytes& head, const Bytes& pattern, size_t size) {
    const size_t body = std::min<size_t>(size, 0xFFFFFF);  // three bytes hold the size
    Bytes tag = {18};
    tag.push_back(static_cast<uint8_t>(body >> 16));
    append16(tag, static_cast<int>(body & 0xFFFF));
    append(tag, Bytes(7, 0));
    append(tag, head);
    append(tag, repeated(pattern, body - head.size()));
    append32(tag, static_cast<uint32_t>(body + 11));
    return tag;
}

void check_flv(const Bytes& bytes, size_t piece) {
    const auto probe = std::make_unique<FLVProbe>();
    for (size_t at = 0; at < bytes.size(); at += piece) {
        const auto size = static_cast<uint32_t>(std::min(piece, bytes.size() - at));
        if (!flv_api_check(probe.get(), bytes.data() + at, size)) *probe = {};  // begins anew
    }
}

// The body of a tag, as a host that walks a file has it read.
void read_script(const Bytes& tag) {
    const auto context = std::make_unique<FLVContext>();
    context->data_len = static_cast<uint32_t>(tag.size() - 11 - 4);
    flv_innerapi_getpayload_script(context.get(), tag.data() + 11, 0);
}

TEST_F(LinearTime, ScriptValuesWithoutEnd) {
    const Bytes array = {8, 0x7F, 0xFF, 0xFF, 0xFF};
    const std::pair<Bytes, Bytes> bodies[] = {{{}, {5}},
                                              {{}, {3}},
                                              {{}, {8}},
                                              {{3}, {0, 0, 5}},
                                              {array, {0, 0, 3}},
                                              {array, {0, 0, 2, 0, 0}},
                                              {{}, {0, 0, 8, 0x7F, 0xFF, 0xFF, 0xFF}}};
    for (const auto& [head, pattern] : bodies) {
        SCOPED_TRACE(testing::PrintToString(head) + testing::PrintToString(pattern));
        const auto make = [&head = head, &pattern = pattern](size_t size) {
            return script_tag(head, pattern, size);
        };
        expect_linear(make, read_script, "script");
    }
    expect_linear([](size_t size) { return repeated(script_tag({}, {5}, 64), size); },
                  [](const Bytes& bytes) { check_flv(bytes, 11 + 64 + 4); }, "tags of 64 bytes");
    expect_linear([](size_t size) { return script_tag({}, {5}, size); },
                  [](const Bytes& bytes) { check_flv(bytes, 65536); }, "a tag in pieces");
}

// Thirty programmes are kept of the thousands that a PAT may name; every table is damaged.
Bytes damaged_tables(size_t size) {
    constexpr int kProgrammes = 30;
    ProgramList programmes;
    for (int i = 0; i < kProgrammes; ++i)
        programmes.push_back({i + 1, 0x100 + i});
    TsStream stream;
    stream.add(pat_packet(programmes));
    const Bytes loop(100, 0xFF);
    for (size_t i = 0; i * 188 < size; ++i) {
        // Every second one is of a programme that is kept, so that its checksum is looked at.
        const int number = static_cast<int>(i % 2 != 0 ? i % 10'000 : i / 2 % kProgrammes);
        Section table = pmt(number + 1, 0x1FFE, {{0x1B, 0x1000, loop}, {0x0F, 0x1001}});
        stream.add(TsPacket(0x100 + number % kProgrammes).section(table.break_crc()));
    }
    return stream;
}

TEST_F(LinearTime, TablesWhoseChecksumIsNeverRight) {
    expect_linear(damaged_tables, analyse, "PMT");
    const auto services = [](size_t size) {
        Section table = sdt({{1, 1, std::string(60, 'p'), std::string(60, 'n')}});
        // The second programme has no service, so the table is never complete.
        Bytes stream = pat_packet({{1, 0x100}, {2, 0x101}}).build();
        append(stream, repeated(TsPacket(0x11).section(table.break_crc()).cc(0).build(), size));
        return stream;
    };
    expect_linear(services, analyse, "SDT");
}

void survey(const Bytes& bytes, size_t piece) {
    ZvSurvey* const run = zvsurvey_new(nullptr);
    for (size_t at = 0; at < bytes.size(); at += piece)
        zvsurvey_feed(run, &bytes[at], std::min(piece, bytes.size() - at));
    zvsurvey_finish(run);
    zvsurvey_free(run);
}

// Calls add(stream, i) for i = 0, 1, 2 ... until the stream is long enough.
Make grown(void (*add)(TsStream&, int)) {
    return [add](size_t size) {
        TsStream stream = one_programme();
        for (int i = 0; stream.bytes().size() < size; ++i)
            add(stream, i);
        return stream.bytes();
    };
}

void add_new_pat(TsStream& stream, int i) {
    ProgramList programs;
    for (int k = 0; k < 40; ++k)
        programs.push_back({i % 2 * 40 + k + 1, 0x1000 + k});
    stream.add(TsPacket(0).section(pat(programs).version(i % 32)));
}

void add_new_pmt(TsStream& stream, int i) {
    std::vector<PmtStream> streams;
    for (int k = 0; k < 30; ++k)
        streams.push_back({0x86, 0x200 + i % 2 * 30 + k});
    stream.add(TsPacket(kPmtPid).section(pmt(1, 0x1FFE, streams).version(i % 32)));
}

void add_many_pids(TsStream& stream, int i) {
    stream.add(TsPacket(i * 7 % 8191)
                   .start()
                   .pcr(static_cast<uint64_t>(i) * 90)
                   .payload(PesHeader(0xE0).pts(static_cast<uint64_t>(i) * 90).build()));
}

void add_many_tables(TsStream& stream, int i) {
    stream.add(TsPacket(0x12).section(Section(0x50, table_head(i & 0xFFFF))));
}

TEST_F(LinearTime, SurveyOfHostileStreams) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer's own checks are counted, too, and take minutes";
#endif
    constexpr uint64_t kMostForFraming = 8;
    constexpr uint64_t kMostForTables =
        200;  // a changed entry is looked up, told and waits for its time
    const std::tuple<const char*, Make, uint64_t> inputs[] = {
        {"no sync byte", [](size_t size) { return Bytes(size); }, kMostForFraming},
        {"sync bytes", sync_bytes, kMostForFraming},
        {"syncs that break", syncs_that_break, kMostForFraming},
        {"a PAT that always changes", grown(add_new_pat), kMostForTables},
        {"a PMT that always changes", grown(add_new_pmt), kMostForTables},
        {"every PID in turn", grown(add_many_pids), 32},
        {"every table in turn", grown(add_many_tables), 32}};
    for (const auto& [name, make, most] : inputs) {
        SCOPED_TRACE(name);
        expect_linear(
            make, [](const Bytes& bytes) { survey(bytes, 65536); }, name, most);
        if (most > kMostForFraming) continue;  // what follows the framing does not see the cuts
        expect_linear(
            make, [](const Bytes& bytes) { survey(bytes, 199); }, name, most + 32);
    }
}

}  // namespace
