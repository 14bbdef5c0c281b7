// SPDX-License-Identifier: MIT
// The stream tools over files: packets out of damaged bytes, elementary streams out of packets, the
// probes, and what the tools do when source or output fail.
#include "ts_tools.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "mpeg/ts_tools/packet_feed.h"
#include "mpeg/ts_tools/pes_payload.h"
#include "support/log_recorder.h"
#include "support/manual_clock.h"
#include "support/test_media.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using Names = std::vector<std::string>;

Bytes operator+(Bytes left, const Bytes& right) {
    append(left, right);
    return left;
}

Bytes first_bytes(const Bytes& of, size_t count) {
    return Bytes(of.begin(), of.begin() + static_cast<ptrdiff_t>(count));
}

// A directory of its own, gone with the test.
class Folder {
  public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "ts_tools.XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }

    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    const char* path() const { return path_.c_str(); }
    std::string put(const std::string& name, const Bytes& bytes) const {
        std::ofstream(*this / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return *this / name;
    }
    Bytes get(const std::string& name) const {
        std::ifstream file(*this / name, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(file), {});
    }
    Names names() const {
        Names all;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            all.push_back(entry.path().filename());
        std::ranges::sort(all);
        return all;
    }

  private:
    std::filesystem::path path_;
};

struct Fed {
    Bytes packets;
    zv::PacketFeed::Counts counts;
};

Fed feed(const Bytes& bytes, size_t piece) {
    const auto feeder = std::make_unique<zv::PacketFeed>();
    Fed fed;
    const auto collect = [&] {
        for (auto run = feeder->next(); !run.empty(); run = feeder->next())
            fed.packets.insert(fed.packets.end(), run.begin(), run.end());
    };
    for (size_t at = 0; at < bytes.size(); at += piece) {
        feeder->append(std::span(bytes).subspan(at, std::min(piece, bytes.size() - at)));
        collect();
    }
    feeder->finish();
    collect();
    fed.counts = feeder->counts();
    return fed;
}

constexpr size_t kPieces[] = {1, 7, 187, 188, 189, 1316, 65536};

TEST(PacketFeed, FindsEveryPacketWhateverThePiecesAndTheDamage) {
    const Bytes stream = TsStream().add(kVideoPid, 40);
    const Bytes junk = {1, 0x47, 2, 0x47, 0x47, 3};
    Bytes damaged = junk + first_bytes(stream, 10 * 188) + junk + stream;
    damaged[6 + 5 * 188] = 0;            // one packet loses its sync byte,
    damaged.resize(damaged.size() - 8);  // and the last one its end
    const Bytes whole = first_bytes(stream, 5 * 188) + first_bytes(stream, 10 * 188) + stream;
    for (const size_t piece : kPieces) {
        const Fed fed = feed(damaged, piece);
        EXPECT_EQ(fed.counts.packets, 48u) << piece;
        EXPECT_EQ(fed.counts.skipped_bytes, 6u + 188 + 6 + 180) << piece;
        EXPECT_EQ(fed.counts.sync_losses, 2u) << piece;
        EXPECT_EQ(fed.packets.size(), 48u * 188);
        EXPECT_EQ(Bytes(fed.packets.begin() + 9 * 188, fed.packets.end()),
                  first_bytes(stream, 39 * 188));
    }
    EXPECT_EQ(feed(Bytes(100'000, 0), 65536).counts.skipped_bytes, 100'000u);
    EXPECT_EQ(feed(first_bytes(stream, 188), 1).counts.packets, 1u);
    EXPECT_EQ(feed({}, 1).counts.packets, 0u);
}

TEST(PacketFeed, CompletesTheLastPacketBehindATimeCode) {
    const Bytes media = load_media("single-192.m2ts");
    for (const size_t piece : kPieces) {
        const Fed fed = feed(media, piece);
        EXPECT_EQ(fed.counts.packets, media.size() / 192);
        EXPECT_EQ(fed.counts.skipped_bytes, 0u);
        EXPECT_EQ(first_bytes(fed.packets, media.size() - 4),
                  Bytes(media.begin() + 4, media.end()));
    }
}

Bytes unwrap(zv::PesPayload& pes, const TsPacket& packet) {
    const Bytes bytes = packet.build();
    const auto payload = pes.take(bytes.data());
    return Bytes(payload.begin(), payload.end());
}

// A packet whose payload is exactly these bytes.
TsPacket carrying(const Bytes& bytes, int cc) {
    TsPacket packet(kVideoPid);
    packet.cc(cc).payload(bytes);
    return bytes.size() < 184 ? packet.adaptation(183 - static_cast<int>(bytes.size())) : packet;
}

TEST(PesPayload, TakesAwayHeadersWhereverThePacketEnds) {
    const Bytes pes = PesHeader(0xE0).pts(90).packet_length(3 + 10 + 5).build() + Bytes{1, 2, 3};
    for (size_t split = 1; split < pes.size(); ++split) {
        zv::PesPayload unwrapped;
        EXPECT_EQ(unwrap(unwrapped, carrying({9, 9}, 0)), Bytes{});  // before the first header
        const Bytes tail(pes.begin() + static_cast<ptrdiff_t>(split), pes.end());
        Bytes got = unwrap(unwrapped, carrying(first_bytes(pes, split), 1).start());
        append(got, unwrap(unwrapped, carrying(tail, 2)));
        EXPECT_EQ(got, (Bytes{1, 2, 3})) << split;
        EXPECT_EQ(unwrap(unwrapped, carrying({4, 5, 6, 7}, 3)), (Bytes{4, 5}));  // its length ends
    }
}

TEST(PesPayload, LeavesOutRepeatedScrambledAndForeignPackets) {
    zv::PesPayload pes;
    EXPECT_EQ(unwrap(pes, carrying(PesHeader(0xC0).build() + Bytes{1}, 0).start()), Bytes{1});
    EXPECT_EQ(unwrap(pes, carrying({2}, 1)), Bytes{2});
    EXPECT_EQ(unwrap(pes, carrying({2}, 1)), Bytes{});   // sent twice
    EXPECT_EQ(unwrap(pes, carrying({3}, 1)), Bytes{3});  // sixteen were lost
    Bytes scrambled = carrying({4}, 2).build(), damaged = scrambled;
    scrambled[3] |= 0x80;
    damaged[1] |= 0x80;
    EXPECT_TRUE(pes.take(scrambled.data()).empty());
    EXPECT_TRUE(pes.take(damaged.data()).empty());
    EXPECT_EQ(unwrap(pes, carrying({5}, 2)), Bytes{5});
    EXPECT_EQ(unwrap(pes, carrying({0, 0, 1, 0xBE, 0, 2, 6, 7}, 3).start()), Bytes{});  // padding
    EXPECT_EQ(unwrap(pes, carrying({0, 0, 1, 0xBF, 0, 2, 6, 7, 8}, 4).start()), (Bytes{6, 7}));
    EXPECT_EQ(unwrap(pes, carrying({0, 0, 2, 0xE0, 0, 0, 0x80, 0, 0, 9}, 5).start()), Bytes{});
}

TEST(Extract, GivesTheStreamsOfTheSamplesByteForByte) {
    struct Expected {
        const char* source;
        std::map<std::string, std::pair<size_t, uint32_t>> files;  // size and CRC-32/MPEG-2
    };
    // Taken from the samples by another program.
    const Expected samples[] = {
        {"single.ts",
         {{"1_0x100_h264.es", {217050, 0x950982AC}}, {"1_0x101_aac.es", {50435, 0x286A7DEC}}}},
        {"three-programs.ts",
         {{"1_0x100_h264.es", {94161, 0x7C1DD037}},
          {"1_0x101_aac.es", {33905, 0x0415B1D3}},
          {"2_0x102_mpeg2v.es", {62511, 0x5E2C061B}},
          {"2_0x103_mpeg1a.es", {32182, 0xEA7B09B6}},
          {"3_0x104_ac3.es", {32000, 0xB9982DDC}}}},
        {"single-204.ts",
         {{"1_0x100_h264.es", {129873, 0xBCEFAFC9}}, {"1_0x101_aac.es", {28488, 0x6F7D531A}}}},
        {"single-192.m2ts",
         {{"1_0x1011_h264.es", {100291, 0x1ECF77D9}},
          {"1_0x1100_pes_private_data.es", {25401, 0x657A4380}}}},
    };
    for (const Expected& sample : samples) {
        const Folder folder;
        EXPECT_EQ(mpegts_api_tsExtract(0, (ZV_TEST_MEDIA "/" + std::string(sample.source)).c_str(),
                                       folder.path()),
                  0);
        EXPECT_EQ(folder.names().size(), sample.files.size());
        for (const auto& [name, facts] : sample.files) {
            const Bytes bytes = folder.get(name);
            EXPECT_EQ(bytes.size(), facts.first) << name;
            EXPECT_EQ(zvcrc_api_CRC32(bytes.data(), static_cast<int>(bytes.size())), facts.second)
                << name;
        }
    }
}

TEST(Extract, KeepsWhatCameAheadOfTheTablesAndSharesAStreamOfTwoProgrammes) {
    const Folder source, out;
    TsStream stream;
    const auto unit = [&](int pid, uint8_t byte) {
        stream.add(TsPacket(pid).start().payload(PesHeader(0xE0).build() + Bytes(165, byte)));
    };
    unit(kVideoPid, 1);
    unit(kAudioPid, 2);
    stream.add(0x500, 200);  // more than one read
    stream.add(pat_packet({{1, kPmtPid}, {2, kPmtPid + 1}, {3, kPmtPid + 2}}));
    stream.add(TsPacket(kPmtPid).section(
        pmt(1, kVideoPid, {{0x0A, kVideoPid}, {0x05, kAudioPid + 1}, {0x0F, kAudioPid}})));
    stream.add(TsPacket(kPmtPid + 1).section(pmt(2, kVideoPid, {{0x0F, kAudioPid}})));
    unit(kAudioPid, 3);  // the third programme's table never comes
    const std::string url = source.put("late.ts", stream);
    EXPECT_EQ(mpegts_api_tsExtract(0, url.c_str(), out.path()), 0);
    EXPECT_EQ(out.names(), (Names{"1_0x100_type A.es", "1_0x101_aac.es", "2_0x101_aac.es"}));
    EXPECT_EQ(out.get("1_0x100_type A.es"), Bytes(165, 1));
    EXPECT_EQ(out.get("1_0x101_aac.es"), Bytes(165, 2) + Bytes(165, 3));
    EXPECT_EQ(out.get("2_0x101_aac.es"), out.get("1_0x101_aac.es"));
}

TEST(Tools, TellWhyTheyFailed) {
    LogRecorder log;
    const Folder folder;
    const std::string media = ZV_TEST_MEDIA "/single.ts", empty = folder.put("empty", {});
    EXPECT_EQ(mpegts_api_tsExtract(3, nullptr, folder.path()), -1);
    EXPECT_TRUE(log.opened().empty());
    EXPECT_EQ(mpegts_api_tsMonitor(3, "nosuch://x", 0), -2);
    EXPECT_EQ(log.count("Not find nosuch function"), 1);
    EXPECT_EQ(mpegts_api_rtpDemux(3, (folder / "none.ts").c_str(), nullptr), -2);
    EXPECT_EQ(mpegts_api_tsMonitor(3, std::string(1024, 'u').c_str(), 0), -2);
    EXPECT_EQ(log.count("url_open "), 2);
    EXPECT_EQ(mpegts_api_rtpDemux(3, empty.c_str(), (folder / "out.ts").c_str()), -3);
    EXPECT_EQ(log.count("url_read " + empty + " failed(len:0)"), 1);
    EXPECT_EQ(mpegts_api_tsExtract(3, media.c_str(), (folder / "none").c_str()), -4);
    EXPECT_EQ(mpegts_api_rtpDemux(3, media.c_str(), "/dev/full"), -4);
    EXPECT_EQ(mpegts_api_rtpDemux(3, media.c_str(), folder.path()), -4);
    EXPECT_EQ(log.count("failed:"), 3);
    EXPECT_EQ(folder.names(), Names{"empty"});
    EXPECT_EQ(log.opened()[0], "/var/log/tavrix/tsMonitor.txt");
    EXPECT_EQ(log.opened()[1], "/var/log/tavrix/rtpDemux.txt");
}

TEST(Tools, KeepTheFileFromBeforeWhenTheDiskIsFull) {
    const Folder folder;
    folder.put("1_0x101_aac.es", {1, 2, 3});
    signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {100'000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const int result = mpegts_api_tsExtract(0, ZV_TEST_MEDIA "/single.ts", folder.path());
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(result, -4);
    EXPECT_EQ(folder.names(), Names{"1_0x101_aac.es"});
    EXPECT_EQ(folder.get("1_0x101_aac.es"), (Bytes{1, 2, 3}));
}

TEST(Monitor, ReportsOnTheBeatAndAtTheEndWithTheDamage) {
    LogRecorder log;
    ManualClock clock;
    clock.advance_per_reading(1000);
    const Folder folder;
    Bytes media = drop_packets(load_media("single.ts"), 302, 3);
    media.insert(media.begin() + 200 * 188, 50, 0);
    const std::string url = folder.put("damaged.ts", media);
    EXPECT_EQ(mpegts_api_tsMonitor(3, url.c_str(), 0), 0);
    EXPECT_EQ(log.count("* pktSize:188"), 1);
    EXPECT_EQ(log.count("format[mpegts],pktSize[188]"), 1);
    EXPECT_EQ(log.count("* packets,skippedBytes,syncLosses:1676,50,1"), 1);
    EXPECT_EQ(log.count("[h264-0x100]numErr,numLost:1,3"), 1);
    log.clear();
    EXPECT_EQ(mpegts_api_tsMonitor(3, url.c_str(), 1), 0);  // due after every piece of 16 KiB
    EXPECT_EQ(log.count("* pktSize:188"), static_cast<int>((media.size() + 16383) / 16384) + 1);
}

TEST(Probes, TellSizeAndPositionOrWhyNot) {
    LogRecorder log;
    const Folder folder;
    const std::string media = ZV_TEST_MEDIA "/";
    const std::string shifted =
        folder.put("shifted", Bytes{1, 2, 3} + Bytes(TsStream().add(64, 30)));
    const std::string empty = folder.put("empty", {}), none = folder.put("none", Bytes(6000, 1));
    EXPECT_EQ(mpegts_api_getTsPktSize((media + "single-204.ts").c_str(), nullptr, 0, 0), 204);
    EXPECT_EQ(mpegts_api_getTsPktSize((media + "single-192.m2ts").c_str(), "", 0, 0), 192);
    EXPECT_EQ(mpegts_api_getTsPos((media + "single-192.m2ts").c_str()), 4);
    EXPECT_EQ(mpegts_api_getTsPos(shifted.c_str()), 3);
    EXPECT_EQ(mpegts_api_getTsPos(none.c_str()), -1);
    EXPECT_EQ(mpegts_api_getTsPktSize(none.c_str(), nullptr, 0, 0), 188);
    EXPECT_TRUE(log.bodies().empty());

    EXPECT_EQ(mpegts_api_getTsPktSize(empty.c_str(), nullptr, 0, 0), 0);
    EXPECT_EQ(mpegts_api_getTsPktSize2(empty.c_str(), nullptr, 0, 0), 188);
    EXPECT_EQ(mpegts_api_getTsPos(empty.c_str()), -3);
    EXPECT_EQ(log.count("url_read " + empty + " failed(len:0)"), 3);
    EXPECT_EQ(mpegts_api_getTsPos("udp://127.0.0.1:9"), -1);
    EXPECT_EQ(log.bodies().back(), "No need to getTsPos:udp://127.0.0.1:9");
    EXPECT_EQ(mpegts_api_getTsPktSize("what://ever", nullptr, 0, 0), 0);
    EXPECT_EQ(log.bodies().back(), "url_open what://ever failed");
    const std::string endless(1024, 'u');
    log.clear();
    EXPECT_EQ(mpegts_api_getTsPos(endless.c_str()), -2);
    EXPECT_EQ(log.bodies(),
              (Names{"There is a bug that buf1 (1024 < 1025)(" + endless + "),please fix!!",
                     "url_open " + endless + " failed"}));
    EXPECT_EQ(mpegts_api_getTsPktSize(nullptr, nullptr, 0, 0), 0);
    EXPECT_EQ(mpegts_api_getTsPos(nullptr), -1);
}

TEST(Probes, ChooseAnInterfaceForMulticastOnly) {
    LogRecorder log;
    mpegts_api_getTsPktSize("udp://@239.1.1.1:12345?timeout=1", "nosuch0", 0, 0);
    EXPECT_EQ(log.count("is_multicast:1,hostname:239.1.1.1,interfaceIn:nosuch0"), 1);
    EXPECT_EQ(log.count("=========line:"), 1);
    EXPECT_EQ(log.count("url_open "), 1);  // the interface reached the handler
    mpegts_api_getTsPktSize("udp://127.0.0.1:12345?timeout=1", "nosuch0", 0, 0);
    EXPECT_EQ(log.count("is_multicast:0,hostname:127.0.0.1"), 1);
    EXPECT_EQ(log.count("=========line:"), 1);
}

}  // namespace
