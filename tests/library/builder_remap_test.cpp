// SPDX-License-Identifier: MIT
// The table builders, byte by byte and back through the analyser, and rewriting a stream in place.
#include <gtest/gtest.h>

#include "mpeg/mpegts/context.h"
#include "support/analyser.h"
#include "support/log_recorder.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using Texts = std::vector<std::string>;

Bytes part(const Bytes& of, size_t from, size_t count) {
    return Bytes(of.begin() + static_cast<ptrdiff_t>(from),
                 of.begin() + static_cast<ptrdiff_t>(from + count));
}

// Every builder writes into memory that is neither zero nor 0xFF, and as long as it may need.
template <typename Build>
Bytes built(Build build) {
    Bytes out(1024, 0x5A);
    build(out.data());
    return out;
}

MPEGTSStream stream_with_info(uint16_t pid, uint8_t type, uint16_t info_length = 0) {
    MPEGTSStream stream = {};
    stream.pid = pid;
    stream.stream_type = type;
    stream.es_info_len = info_length;
    std::fill(std::begin(stream.es_info), std::end(stream.es_info), uint8_t{0x11});
    return stream;
}

TEST(Builders, PutTheSectionAtTheStartOrAtTheEndOfThePacket) {
    const uint16_t number = 1, pid = 0x142;
    const Bytes pat =
        built([&](uint8_t* out) { mpegts_api_buildPat(out, 3, 188, 1, &number, &pid); });
    EXPECT_EQ(part(pat, 0, 6), (Bytes{0x47, 0x40, 0x00, 0x30, 0xA6, 0x00}));
    EXPECT_EQ(part(pat, 6, 165), Bytes(165, 0xFF));
    EXPECT_EQ(part(pat, 171, 17), (Bytes{0x00, 0x00, 0xB0, 0x0D, 0x00, 0x01, 0xC5, 0x00, 0x00, 0x00,
                                         0x01, 0xE1, 0x42, 0xEC, 0x61, 0xA8, 0x97}));
    EXPECT_EQ(pat[188], 0x5A);

    const MPEGTSStream streams[] = {stream_with_info(0x101, 0x10), stream_with_info(0x102, 0x11)};
    const Bytes pmt = built(
        [&](uint8_t* out) { mpegts_api_buildPmtEs(out, 1, 1, 0x142, 0x100, 2, streams, 200); });
    EXPECT_EQ(part(pmt, 0, 31),
              (Bytes{0x47, 0x41, 0x42, 0x10, 0x00, 0x02, 0xB0, 0x17, 0x00, 0x01, 0xC5,
                     0x00, 0x00, 0xE1, 0x00, 0xF0, 0x00, 0x10, 0xE1, 0x01, 0xF0, 0x00,
                     0x11, 0xE1, 0x02, 0xF0, 0x00, 0xCB, 0xE4, 0x98, 0xC5}));
    EXPECT_EQ(part(pmt, 31, 157), Bytes(157, 0xFF));
    EXPECT_EQ(part(pmt, 188, 13), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x5A}));

    const Bytes sdt = built([](uint8_t* out) { mpegts_api_buildSdt(out, 1, 7, "AB", "C", 0); });
    EXPECT_EQ(part(sdt, 0, 29), (Bytes{0x47, 0x40, 0x11, 0x10, 0x00, 0x42, 0xF0, 25,   0x00, 0x01,
                                       0xC5, 0x00, 0x00, 0xFF, 0x01, 0xFF, 0x00, 0x07, 0x00, 0x00,
                                       8,    0x48, 6,    0x01, 2,    'A',  'B',  1,    'C'}));
    const Bytes null = built([](uint8_t* out) { mpegts_api_buildNullPkt(out, 188); });
    EXPECT_EQ(part(null, 0, 4), (Bytes{0x47, 0x5F, 0xFF, 0x10}));
    EXPECT_EQ(part(null, 4, 184), Bytes(184, 0xFF));
}

TEST(Builders, WriteNoSectionWhereNoneFits) {
    const std::vector<uint16_t> many(60, 0x100);
    for (const uint8_t control : {uint8_t{0}, uint8_t{2}, uint8_t{3}}) {
        const Bytes pat = built([&](uint8_t* out) {
            mpegts_api_buildPat(out, control, 188, 60, many.data(), many.data());
        });
        EXPECT_EQ(part(pat, 6, 182), Bytes(182, 0xFF)) << int{control};
        EXPECT_EQ(pat[4], control == 0 ? 0xFF : control == 2 ? 0 : static_cast<uint8_t>(179 - 249));
    }
    // In front of the buffer there would be no room: an exact block has none to spare.
    std::unique_ptr<uint8_t[]> exact(new uint8_t[188]);
    mpegts_api_buildPat(exact.get(), 3, 188, 60, many.data(), many.data());
    mpegts_api_buildPat(nullptr, 1, 188, 1, nullptr, nullptr);
}

TEST(Builders, SumTheStreamLoopInEightBitsAndStayInsideTheDescriptors) {
    std::vector<MPEGTSStream> streams(2, stream_with_info(0x101, 0x1B, 0x0180 | 0x4F));
    const Bytes pmt = built([&](uint8_t* out) {
        mpegts_api_buildPmtEs(out, 1, 1, 0x142, 0x100, 2, streams.data(), 188);
    });
    EXPECT_EQ(pmt[7], static_cast<uint8_t>(2 * (0xCF + 5) + 13));  // the carry is gone
    EXPECT_EQ(pmt[6], 0xB0);
    EXPECT_EQ(part(pmt, 22 + 126, 4), (Bytes{0x11, 0x11, 0xFF, 0xFF}));  // after es_info[127]
    EXPECT_EQ(pmt[22 + 0xCF], 0x1B);  // the second entry, at its real position
}

TEST(Builders, AnyPidIsPresentBesideAStream) {
    const MPEGTSStream stream = stream_with_info(0x101, 0x1B);
    EXPECT_EQ(mpegts_api_isEsPid(0x101, 1, &stream), 1);
    EXPECT_EQ(mpegts_api_isEsPid(0x102, 1, &stream), 1);
    EXPECT_EQ(mpegts_api_isEsPid(0x102, 0, &stream), 0);
    EXPECT_EQ(mpegts_api_isEsPid(0x102, -3, nullptr), -3);
}

TEST(SelfTest, EveryTableComesBackFromBothLayouts) {
    LogRecorder log;
    mpegts_api_tsApiTest(4);
    EXPECT_EQ(log.opened, Texts{"/var/log/tavrix/tsApiTest.txt"});
    EXPECT_TRUE(log.bodies(1).empty());
    EXPECT_TRUE(log.bodies(2).empty());
    EXPECT_EQ(log.count("的构建和解析测试"), 6);
    EXPECT_EQ(log.count("pro_num(1), pmt:0x142"), 2);
    EXPECT_EQ(log.count("##stream: video-mpeg4, pid:0x101,esinfo_len:0"), 2);
    EXPECT_EQ(log.count("##stream: audio-aac_latm, pid:0x102,esinfo_len:0"), 2);
    EXPECT_EQ(log.count("Find all info,totalnum_program:1,num_pmtInfo:1"), 2);
    EXPECT_EQ(log.count("ServiceName"), 2);
}

const RemapTarget kTarget = {7, 0x242, 0x40, {0x41, 0x212, 0x1FFF, 0}};

int pid_of(const Bytes& packet) {
    return (packet[1] & 0x1F) << 8 | packet[2];
}

TEST(Remap, ANullArgumentOrALostSyncIsMinusOne) {
    Analyser analyser;
    Bytes bytes = TsStream().add(kVideoPid, 2);
    const int length = static_cast<int>(bytes.size());
    EXPECT_EQ(mpegts_api_remap(nullptr, analyser.get(), bytes.data(), length), -1);
    EXPECT_EQ(mpegts_api_remap(&kTarget, analyser.get(), nullptr, length), -1);
    analyser->pkt_size = 188;
    bytes[188] = 0;
    EXPECT_EQ(mpegts_api_remap(&kTarget, analyser.get(), bytes.data(), length), -1);
}

TEST(Remap, TakesOutATableButNotTheOneThatMovesIntoItsPlace) {
    Analyser analyser;
    analyser.parse(one_programme());
    analyser.parse(TsPacket(kVideoPid));
    const Bytes tables = one_programme();  // PAT, PMT, SDT
    Bytes bytes = part(tables, 0, 188);
    append(bytes, part(tables, 2 * 188, 188));
    append(bytes, part(tables, 188, 188));
    append(bytes, TsStream().add(kVideoPid, 2).add(kAudioPid, 1).add(0x1FFF, 1));
    EXPECT_EQ(mpegts_api_remap(&kTarget, analyser.get(), bytes.data(), 7 * 188), 104);  // 1128
    std::vector<int> pids;
    for (size_t i = 0; i < 6; ++i)
        pids.push_back(pid_of(part(bytes, 188 * i, 188)));
    // The known PMT passes; video and audio: high bits ORed, low bits new.
    EXPECT_EQ(pids, (std::vector<int>{kSdtPid, kPmtPid, 0x141, 0x141, 0x312, 0x1FFF}));
}

TEST(Remap, RewritesTheFirstPmtAndEveryPcrPacketOneByOne) {
    Analyser analyser;
    const auto remapped = [&](Bytes packet) {
        EXPECT_EQ(mpegts_api_remap(&kTarget, analyser.get(), packet.data(), 188), -68);
        return packet;
    };
    const Section table = pmt(1, kVideoPid, {{0x1B, kVideoPid}, {0x0F, kAudioPid}});
    Bytes pat = pat_packet({{1, 0x142}}).build();
    EXPECT_EQ(mpegts_api_remap(&kTarget, analyser.get(), pat.data(), 188), 0);

    const TsPacket video = TsPacket(kVideoPid);
    EXPECT_EQ(remapped(video.build()), video.build());  // before the PMT
    const Bytes first = remapped(TsPacket(0x142).section(table).build());
    EXPECT_EQ(pid_of(first), 0x342);
    EXPECT_EQ(
        first,
        TsPacket(0x342).section(pmt(7, kVideoPid, {{0x1B, kVideoPid}, {0x0F, kAudioPid}})).build());
    EXPECT_EQ(
        part(Bytes(analyser->program[0].pmt_packet, analyser->program[0].pmt_packet + 188), 0, 188),
        first);
    EXPECT_EQ(pid_of(remapped(TsPacket(0x142).section(table).build())), 0x142);
    EXPECT_EQ(remapped(video.build()), video.build());  // only completes the tables
    EXPECT_EQ(pid_of(remapped(video.build())), 0x141);
    EXPECT_EQ(pid_of(remapped(TsPacket(kVideoPid).pcr(900).build())), 0x141);
    EXPECT_EQ(pid_of(remapped(TsPacket(kAudioPid).build())), 0x312);
    EXPECT_EQ(pid_of(remapped(TsPacket(0x123).pcr(900).build())), 0x140);  // a foreign PID
}

TEST(Remap, ShortensWholeBuffersToTheLowEightBitsOfTheirLength) {
    const std::pair<int, int> cases[] = {{2, 120}, {3, 52}, {4, -16}, {5, -84}, {7, 36}};
    for (const auto& [packets, result] : cases) {
        Analyser analyser;
        Bytes bytes = TsStream().add(kVideoPid, packets);
        EXPECT_EQ(mpegts_api_remap(&kTarget, analyser.get(), bytes.data(), packets * 188), result);
    }
}

}  // namespace
