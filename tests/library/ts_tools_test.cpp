// SPDX-License-Identifier: MIT
// The stream tools over files: packets out of damaged bytes, elementary streams out of packets, the
// probes, and what the tools do when source or output fail.
#include "ts_tools.h"

#include <gtest/gtest.h>

#include "mpeg/ts_tools/packet_feed.h"
#include "mpeg/ts_tools/pes_payload.h"
#include "support/folder.h"
#include "support/log_recorder.h"
#include "support/loopback.h"
#include "support/manual_clock.h"
#include "support/misleading_streams.h"
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

Names names_in(const Folder& folder) {
    Names all;
    for (const auto& [name, bytes] : folder.files())
        all.push_back(name);
    return all;
}

struct Fed {
    Bytes packets;
    zv::PacketFeed::Counts counts;
};

// In pieces of a length that fits nothing; the fuzz target packet_feed tries every other.
Fed feed(const Bytes& bytes) {
    constexpr size_t kPiece = 187;
    const auto feeder = std::make_unique<zv::PacketFeed>();
    Fed fed;
    const auto collect = [&] {
        for (auto run = feeder->next(); !run.empty(); run = feeder->next())
            fed.packets.insert(fed.packets.end(), run.begin(), run.end());
    };
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
        feeder->append(std::span(bytes).subspan(at, std::min(kPiece, bytes.size() - at)));
        collect();
    }
    feeder->finish();
    collect();
    fed.counts = feeder->counts();
    return fed;
}

TEST(PacketFeed, FindsEveryPacketWhateverTheDamage) {
    const Bytes stream = TsStream().add(kVideoPid, 40);
    const Bytes junk = {1, 0x47, 2, 0x47, 0x47, 3};
    Bytes damaged = junk + first_bytes(stream, 10 * 188) + junk + stream;
    damaged[6 + 5 * 188] = 0;            // one packet loses its sync byte,
    damaged.resize(damaged.size() - 8);  // and the last one its end
    const Fed fed = feed(damaged);
    EXPECT_EQ(fed.counts.packets, 48u);
    EXPECT_EQ(fed.counts.skipped_bytes, 6u + 188 + 6 + 180);
    EXPECT_EQ(fed.counts.sync_losses, 1u);
    EXPECT_EQ(fed.packets.size(), 48u * 188);
    EXPECT_EQ(Bytes(fed.packets.begin() + 9 * 188, fed.packets.end()),
              first_bytes(stream, 39 * 188));
    EXPECT_EQ(feed(Bytes(100'000, 0)).counts.skipped_bytes, 100'000u);
    EXPECT_EQ(feed(first_bytes(stream, 188)).counts.packets, 1u);
    EXPECT_EQ(feed({}).counts.packets, 0u);
    const Fed timed = feed(load_media("single-192.m2ts"));
    EXPECT_EQ(timed.counts.packets, 800u);  // though no time code follows the last one
    EXPECT_EQ(timed.counts.skipped_bytes, 0u);
    Bytes looks_early = load_media("single-192.m2ts");  // by the first bytes of its time codes
    for (size_t at = 0; at < looks_early.size(); at += 192)
        looks_early[at] = 0x47;
    const Fed in_step = feed(looks_early);
    EXPECT_EQ(in_step.counts.packets, 800u);
    EXPECT_EQ(first_bytes(in_step.packets, 188), first_bytes(timed.packets, 188));
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
    using Checksums = std::map<std::string, uint32_t>;  // CRC-32/MPEG-2 by file
    // Taken from the samples by another program.
    const std::pair<std::string, Checksums> samples[] = {
        {"single.ts", {{"1_0x100_h264.es", 0x950982AC}, {"1_0x101_aac.es", 0x286A7DEC}}},
        {"three-programs.ts",
         {{"1_0x100_h264.es", 0x7C1DD037},
          {"1_0x101_aac.es", 0x0415B1D3},
          {"2_0x102_mpeg2v.es", 0x5E2C061B},
          {"2_0x103_mpeg1a.es", 0xEA7B09B6},
          {"3_0x104_ac3.es", 0xB9982DDC}}},
        {"single-204.ts", {{"1_0x100_h264.es", 0xBCEFAFC9}, {"1_0x101_aac.es", 0x6F7D531A}}},
        {"single-192.m2ts",
         {{"1_0x1011_h264.es", 0x1ECF77D9}, {"1_0x1100_pes_private_data.es", 0x657A4380}}},
    };
    for (const auto& [source, expected] : samples) {
        const Folder folder;
        EXPECT_EQ(mpegts_api_tsExtract(0, (ZV_TEST_MEDIA "/" + source).c_str(), folder.path()), 0);
        Checksums found;
        for (const auto& [name, bytes] : folder.files())
            found[name] = zvcrc_api_CRC32(reinterpret_cast<const uint8_t*>(bytes.data()),
                                          static_cast<int>(bytes.size()));
        EXPECT_EQ(found, expected) << source;
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
    EXPECT_EQ(names_in(out), (Names{"1_0x100_type A.es", "1_0x101_aac.es", "2_0x101_aac.es"}));
    EXPECT_EQ(out.get("1_0x100_type A.es"), std::string(165, 1));
    EXPECT_EQ(out.get("1_0x101_aac.es"), std::string(165, 2) + std::string(165, 3));
    EXPECT_EQ(out.get("2_0x101_aac.es"), out.get("1_0x101_aac.es"));
}

TEST(Tools, TellWhyTheyFailed) {
    LogRecorder log;
    const Folder folder;
    const std::string media = ZV_TEST_MEDIA "/single.ts", empty = folder.put("empty", "");
    EXPECT_EQ(mpegts_api_tsExtract(3, nullptr, folder.path()), -1);
    EXPECT_TRUE(log.opened.empty());
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
    const std::string none = folder.put("none", Bytes(6000, 1)), kept = folder.put("kept", "kept");
    EXPECT_EQ(mpegts_api_rtpDemux(3, none.c_str(), kept.c_str()), 0);  // read to its end
    EXPECT_EQ(folder.get("kept"), "kept");
    EXPECT_EQ(names_in(folder), (Names{"empty", "kept", "none"}));
    EXPECT_EQ(log.opened[0], "/var/log/tavrix/tsMonitor.txt");
    EXPECT_EQ(log.opened[1], "/var/log/tavrix/rtpDemux.txt");
}

int demux(const std::string& scheme, const std::vector<std::string>& datagrams,
          const std::string& out) {
    return while_sending(datagrams, [&](const std::string& address) {
        const std::string url = scheme + "://" + address + "?timeout=300";
        return mpegts_api_rtpDemux(3, url.c_str(), out.c_str());
    });
}

TEST(RtpDemux, PutsDatagramsInOrderAndCountsThem) {
    LogRecorder log;
    const Folder folder;
    const std::string media = read_file(ZV_TEST_MEDIA "/single.ts");
    std::vector<std::string> datagrams;
    std::string arrived;
    for (size_t i = 0; i < 60; ++i) {
        const std::string payload = media.substr(i * 7 * 188, 7 * 188);
        if (i == 9) continue;
        arrived += payload;
        datagrams.push_back(rtp_datagram(i, payload));
    }
    std::swap(datagrams[20], datagrams[21]);
    datagrams.insert(datagrams.begin() + 30, datagrams[29]);
    datagrams.insert(datagrams.begin() + 40, "no RTP");
    // RTCP, whose length stands where RTP has its number.
    datagrams.insert(datagrams.begin() + 50,
                     std::string("\x80\xC8\x00\x20", 4) + "a sender's report");
    EXPECT_EQ(demux("rtp", datagrams, folder / "out.ts"), 0);
    EXPECT_EQ(log.count("[RTP]packets,lost,repeated,reordered,late,bad:60,1,1,1,0,2"), 1);
    EXPECT_TRUE(folder.get("out.ts") == arrived);
}

// -> the streams of a file, and how many packets each tool reports of it and of its datagrams
std::map<std::string, std::string> results(const std::string& stream,
                                           const std::vector<std::string>& datagrams) {
    LogRecorder log;
    const Folder folder, out;
    const std::string url = folder.put("in.ts", stream);
    EXPECT_EQ(mpegts_api_tsExtract(3, url.c_str(), out.path()), 0);
    EXPECT_EQ(mpegts_api_tsMonitor(3, url.c_str(), 0), 0);
    EXPECT_EQ(mpegts_api_rtpDemux(3, url.c_str(), (folder / "out.ts").c_str()), 0);
    EXPECT_EQ(demux("udp", datagrams, folder / "udp.ts"), 0);
    EXPECT_EQ(demux("rtp", in_rtp(datagrams), folder / "rtp.ts"), 0);
    auto all = out.files();
    for (const std::string& line : log.bodies())
        if (const size_t at = line.find("syncLosses:"); at != line.npos)
            all["packets"] += line.substr(at + 11, line.find(',', at) - at - 10);
    return all;
}

TEST(Tools, FindTheSamePacketsWhateverMisleads) {
    for (const MisleadingStream& stream : misleading_streams()) {
        const auto expected = results(stream.clean, stream.clean_datagrams());
        EXPECT_EQ(expected.at("packets"), "160,160,160,160,160,") << stream.name;
        EXPECT_GE(expected.size(), 3u) << "two streams are extracted";
        EXPECT_TRUE(results(stream.bytes(), stream.datagrams()) == expected) << stream.name;
    }
}

TEST(Monitor, ReportsOnTheBeatAndAtTheEndWithTheDamage) {
    LogRecorder log;
    ManualClock clock;
    clock.per_reading = 1000;
    const Folder folder;
    Bytes media = load_media("single.ts");
    media.erase(media.begin() + 302 * 188, media.begin() + 305 * 188);
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
    const std::string none = folder.put("none", Bytes(6000, 1));
    EXPECT_EQ(mpegts_api_getTsPktSize((media + "single-204.ts").c_str(), nullptr, 0, 0), 204);
    EXPECT_EQ(mpegts_api_getTsPktSize((media + "single-192.m2ts").c_str(), "", 0, 0), 192);
    EXPECT_EQ(mpegts_api_getTsPos((media + "single-192.m2ts").c_str()), 4);
    EXPECT_EQ(mpegts_api_getTsPos(shifted.c_str()), 3);
    EXPECT_EQ(mpegts_api_getTsPos(none.c_str()), -1);
    EXPECT_EQ(mpegts_api_getTsPktSize(none.c_str(), nullptr, 0, 0), 188);
    EXPECT_TRUE(log.bodies().empty());

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
