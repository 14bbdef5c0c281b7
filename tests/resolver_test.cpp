// SPDX-License-Identifier: MIT
// The parse loop: what reaches which stage, that its short cuts change nothing, that the cutting of
// the feed changes nothing, and what it makes of real streams.
#include <gtest/gtest.h>

#include <random>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "support/analyser.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"
#include "support/manual_clock.h"
#include "support/test_media.h"
#include "ts_tools.h"

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
    EXPECT_EQ(log.hex_dumps().at(0).label, "pbufala");
    EXPECT_EQ(log.hex_dumps().at(0).bytes, Bytes(16, 7));
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
    EXPECT_EQ(mpegts_parse(ts.get(), nullptr, 188, ZV_TS_STOP_KNOWN), -1);
    EXPECT_EQ(memcmp(&known, ts.get(), sizeof known), 0);
}

TEST(ParseLoop, SkipsNullPacketsAndTheReservedControl) {
    LogRecorder log;
    Analyser ts;
    TsPacket null = TsPacket(0x1FFF), reserved = pat_packet({{1, 0x100}}).control(0);
    for (int i = 0; i < 2; ++i) {
        ts.parse(null.cc(7), ZV_TS_CHECK_CC);
        ts.parse(reserved.cc(7 + i), ZV_TS_CHECK_CC);
    }
    EXPECT_EQ(log.lines().size(), 0u);
    EXPECT_EQ(ts->cc_pat.started, 0);
}

TEST(Continuity, AcceptsAPacketBehindThePcrAndFiltersByTag) {
    Analyser ts;
    ts.parse(one_programme());
    LogRecorder log(2, "zvsi");
    // A PCR packet is not checked; the next one may follow it or the packet before it.
    for (const auto& [cc, with_pcr] : std::vector<std::pair<int, bool>>{
             {5, false}, {0, true}, {6, false}, {1, false}, {2, false}, {9, false}, {9, false}}) {
        TsPacket packet = TsPacket(kVideoPid).cc(cc);
        ts.parse(with_pcr ? packet.pcr(1) : packet, ZV_TS_CHECK_CC);
    }
    EXPECT_EQ(log.text(),
              "[cam-Pid0x100(h264)]Continuity check failed! Expected 03 got 09,"
              "errnum,lostnum:1 6|"
              "[cam-Pid0x100(h264)]Maybe send data again. Last_CC 09 got 09");
    strcpy(strfilterTags, "MPEGTS");
    ts.parse(TsPacket(kVideoPid).cc(3), ZV_TS_CHECK_CC);
    EXPECT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(ts->program[0].streams[0].cc_state.errnum, 2u);
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

// The loop in its plainest form: every packet to every stage.
int reference_parse(MPEGTSContext* ctx, const Bytes& bytes, uint8_t flags) {
    if ((flags & ZV_TS_STOP_KNOWN) && ctx->is_getAllInfo == 1) return 0;
    if (ctx->pkt_size == 0)
        ctx->pkt_size = mpegts_api_getTsPktSize3(bytes.data(), static_cast<uint32_t>(bytes.size()));
    int8_t result = 0;
    for (size_t at = 0; at + ctx->pkt_size <= bytes.size(); at += ctx->pkt_size) {
        auto* pkt = const_cast<uint8_t*>(&bytes[at]);
        if (pkt[0] != 0x47) {
            LOG(5, "MPEGTS", "It is not a ts stream-len:%zu,pkt_index:%zu", bytes.size(),
                at / ctx->pkt_size);
            return -1;
        }
        zvsi_api_tsHeaderParse(&ctx->ts_head, pkt, ctx->pkt_size, 0);
        if (ctx->ts_head.pid == 0x1FFF || ctx->ts_head.adaptation_field_control == 0) continue;
        mpegts_innerapi_filterPat(ctx, pkt, flags);
        mpegts_innerapi_filterPmt(ctx, pkt, flags, 0, 0);
        if (!ctx->is_getAllInfo) {
            ctx->is_getAllInfo = static_cast<uint8_t>(mpegts_innerapi_isGetAllInfo(ctx));
        } else {
            if (ctx->btc_es == nullptr) ctx->btc_es = mpegts_innerapi_getBtcEs(ctx);
            const int8_t is_pcr = mpegts_innerapi_filterPcr(ctx, pkt, flags, 0);
            if (result == 0) result = is_pcr;
            mpegts_innerapi_filterEs(ctx, pkt, flags, is_pcr, nullptr);
        }
        mpegts_innerapi_filterSdt(ctx, pkt, flags);
    }
    return result;
}

// What hosts may look at: everything in front of the members kept for speed.
Bytes documented_part(const MPEGTSContext& context) {
    auto copy = std::make_unique<MPEGTSContext>(context);
    const auto chosen =
        reinterpret_cast<const char*>(context.btc_es) - reinterpret_cast<const char*>(&context);
    copy->btc_es = nullptr;
    const auto* bytes = reinterpret_cast<const uint8_t*>(copy.get());
    Bytes part(bytes, bytes + offsetof(MPEGTSContext, dispatch));
    append32(part, context.btc_es ? static_cast<uint32_t>(chosen) : 0);
    return part;
}

// Tables with odd claims on PIDs, then packets that are right, wrong and anything between.
class RandomStream {
  public:
    explicit RandomStream(unsigned seed) : random_(seed) {}

    TsStream build() {
        TsStream stream;
        stream.add(pat_packet({{1, 0x1000}, {2, 0x1001}, {3, 0x1000}}));
        for (const int program : {1, 2, 3}) {
            std::vector<PmtStream> streams{{below(2) ? 0x1B : 0x06, pid()},
                                           {0x81, 0x101 + program}};
            while (streams.size() < 5 && below(2))
                streams.push_back({0x06, pid(), Bytes(below(9))});
            stream.add(TsPacket(program == 2 ? 0x1001 : 0x1000)
                           .section(pmt(program, below(2) ? 0x100 : 0x110, streams)));
        }
        stream.add(TsPacket(kSdtPid).section(sdt({{1, 1, "P", "N"}})));
        for (int i = 0; i < 120; ++i)
            stream.add(packet());
        return stream;
    }
    Bytes damage(Bytes bytes) {
        if (below(3) == 0) bytes[188 * below(static_cast<unsigned>(bytes.size() / 188))] = 0x48;
        return bytes;
    }

  private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    int pid() {
        constexpr int kPids[] = {0,     0x11,  0x1F,  0x100,  0x100,  0x101,  0x102,
                                 0x103, 0x104, 0x110, 0x1000, 0x1001, 0x1FFE, 0x1FFF};
        return kPids[below(std::size(kPids))];
    }
    Bytes noise() {
        constexpr uint8_t kBytes[] = {0, 0, 1, 0x80, 0xE0, 0xFF, 0x02, 0x42, 0xB0, 0x10, 7, 183};
        Bytes bytes(below(190));
        for (uint8_t& byte : bytes)
            byte = kBytes[below(std::size(kBytes))];
        return bytes;
    }
    // A good CRC over nonsense gets past the first checks.
    Bytes section() {
        constexpr int kTables[] = {0, 2, 0x42};
        Bytes body = noise();
        return Section(kTables[below(3)], body).overstate_length_by(below(4) ? 0 : int(below(400)));
    }
    TsPacket packet() {
        TsPacket packet(pid());
        if (below(3) == 0) packet.pcr(random_());
        if (below(4) == 0) packet.adaptation(static_cast<int>(below(200)));
        if (below(8) == 0) packet.control(static_cast<int>(below(4)));
        if (below(8) == 0) packet.cc(static_cast<int>(below(16)));
        switch (below(5)) {
            case 0:
                return packet.section(section());
            case 1:
                return packet.start().payload(noise());
            case 2:
                return packet.start().payload(PesHeader(0xE0).pts(random_()).dts(random_()));
            case 3:
                return packet.payload(noise());
            default:
                return packet;
        }
    }

    std::mt19937 random_;
};

int guarded_parse(MPEGTSContext* ctx, const Bytes& bytes, uint8_t flags) {
    GuardedBuffer guarded(bytes);
    return mpegts_parse(ctx, guarded.data(), static_cast<int>(bytes.size()), flags);
}

struct Outcome {
    std::vector<int> results;
    std::vector<Bytes> contexts;
    Texts bodies;
    size_t dumps;
    std::vector<uint64_t> sleeps;
    bool operator==(const Outcome&) const = default;
};

// The stream twice: the second time all tables are known from the start.
Outcome outcome_of(decltype(guarded_parse) parse, const Bytes& bytes, uint8_t flags) {
    ManualClock clock;
    clock.advance_per_reading(7);
    LogRecorder log;
    Analyser ts;
    Outcome outcome = {};
    for (int i = 0; i < 2; ++i) {
        outcome.results.push_back(parse(ts.get(), bytes, flags));
        outcome.contexts.push_back(documented_part(*ts.get()));
    }
    outcome.bodies = log.bodies();
    outcome.dumps = log.hex_dumps().size();
    outcome.sleeps = clock.sleeps();
    return outcome;
}

TEST(ParseLoop, TakesShortCutsThatChangeNothing) {
    int complete = 0;
    for (const uint8_t flags : Bytes{0x00, 0x04, 0x10, 0x14, 0x16, 0x05, 0x34, 0x0C}) {
        for (unsigned seed = 0; seed < 100; ++seed) {
            RandomStream random(seed);
            const Bytes bytes = random.damage(random.build());
            const Outcome plain = outcome_of(reference_parse, bytes, flags);
            ASSERT_TRUE(outcome_of(guarded_parse, bytes, flags) == plain)
                << "flags " << int{flags} << " seed " << seed;
            complete += std::ranges::count(plain.results, 1) > 0;
        }
    }
    EXPECT_GT(complete, 300);  // many enough got past the tables to a PCR
}

TEST(ParseLoop, FollowsTablesThatAHostChangedAndThatChangeWithinACall) {
    LogRecorder log;
    Analyser ts;
    ts.parse(one_programme().add(kVideoPid, 2).bytes());
    ts->program[1].program_number = 2;
    ts->program[1].pmt_pid = 0x1001;
    ts->program[1].es_count = 1;
    ts->program[1].streams[0].pid = 0x2150;  // no packet can have it
    ts->totalnum_program = 2;

    TsStream more;
    more.add(kVideoPid, 1).add(TsPacket(0x1001).section(pmt(2, 0x200, {{0x1B, 0x200}})));
    more.add(TsPacket(0x150).cc(1)).add(TsPacket(0x200).cc(3)).add(TsPacket(0x200).cc(9));
    ts.parse(more.bytes(), ZV_TS_CHECK_CC);
    EXPECT_EQ(ts->program[1].streams[0].cc_state.started, 0);
    EXPECT_EQ(ts->program[1].streams[1].cc_state.errnum, 1u);
}

TEST(ParseLoop, GivesTheSameForEverySplitOfTheFeed) {
    TsStream stream = one_programme();
    stream.add(TsPacket(kVideoPid).pcr(1))
        .add(TsPacket(kVideoPid).start().payload(PesHeader(0xE0).pts(9)));
    stream.skip(kAudioPid, 2).add(kAudioPid, 2).add(pat_packet({{1, kPmtPid}}));
    const Bytes& bytes = stream.bytes();
    const auto feed = [&](std::span<const uint8_t> first, std::span<const uint8_t> second) {
        ManualClock clock;
        Analyser ts;
        GuardedBuffer one(first), two(second);
        mpegts_parse(ts.get(), one.data(), static_cast<int>(first.size()), 0x14);
        mpegts_parse(ts.get(), two.data(), static_cast<int>(second.size()), 0x14);
        return documented_part(*ts.get());
    };
    const std::span<const uint8_t> all(bytes);
    const Bytes whole = feed(all, {});
    for (size_t split = 0; split <= bytes.size(); ++split)  // the caller carries the partial packet
        ASSERT_EQ(feed(all.first(split), all.subspan(split / 188 * 188)), whole) << split;
}

using Description = std::vector<std::array<int, 4>>;  // program_number, PMT PID, PID, stream_type

Description describe(Analyser& ts) {
    Description streams;
    for (int p = 0; p < ts->totalnum_program; ++p) {
        const MPEGTSProgram& program = ts->program[p];
        for (int s = 0; s < program.es_count; ++s)
            streams.push_back({program.program_number, program.pmt_pid, program.streams[s].pid,
                               program.streams[s].stream_type});
    }
    return streams;
}

struct Sample {
    const char* file;
    ptrdiff_t first_packet;
    int packet_size;
    Description streams;
    std::vector<std::string> services;
};

TEST(RealStream, IsDescribedAtEveryPacketSize) {
    const Description plain = {{1, 0x1000, 0x100, 0x1B}, {1, 0x1000, 0x101, 0x0F}};
    const Description camera = {{1, 0x100, 0x1011, 0x1B}, {1, 0x100, 0x1100, 0x06}};
    const Description three = {{1, 0x1000, 0x100, 0x1B},
                               {1, 0x1000, 0x101, 0x0F},
                               {2, 0x1001, 0x102, 0x02},
                               {2, 0x1001, 0x103, 0x03},
                               {3, 0x1002, 0x104, 0x81}};
    for (const Sample& sample : {
             Sample{"single.ts", 0, 188, plain, {"Colour Bars"}},
             Sample{"single-204.ts", 0, 204, plain, {"Colour Bars"}},
             Sample{"single-192.m2ts", 4, 192, camera, {"Service01"}},
             Sample{"three-programs.ts", 0, 188, three, {"News", "Film", "Radio"}},
         }) {
        const Bytes bytes = load_media(sample.file);
        Analyser ts;
        EXPECT_EQ(ts.parse({bytes.begin() + sample.first_packet, bytes.end()}, 0x14), 1);
        EXPECT_EQ(ts->pkt_size, sample.packet_size);
        EXPECT_EQ(describe(ts), sample.streams) << sample.file;
        Texts services;
        for (int i = 0; i < ts->sdt.service_count; ++i)
            services.emplace_back(ts->sdt.services[i].service_name);
        EXPECT_EQ(services, sample.services);
        for (const MPEGTSStream& es : ts->program[0].streams)
            EXPECT_EQ(es.cc_state.errnum, 0u);
    }
}

}  // namespace
