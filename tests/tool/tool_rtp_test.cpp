// SPDX-License-Identifier: MIT
// What `zvprobe rtp` makes of datagrams, at times that the test sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "io/rtp_stream.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using zvprobe::RtpCounts;
using zvprobe::RtpStream;
using Numbers = std::vector<int>;

struct Datagram {
    int sequence;
    int type = 33;
    uint32_t ssrc = 7;
    int flags = 0x80;

    Bytes with(const Bytes& payload) const {
        Bytes bytes{static_cast<uint8_t>(flags), static_cast<uint8_t>(type)};
        append16(bytes, sequence & 0xFFFF);
        append32(bytes, 0);
        append32(bytes, ssrc);
        return bytes + payload;
    }
    // One packet, whose PID is the number.
    Bytes build() const { return with(TsPacket(sequence & 0x1FFF).build()); }
};

struct Received {
    explicit Received(zvprobe::RtpWindow window = {})
        : stream(window,
                 [this](auto payload) { append(bytes, Bytes(payload.begin(), payload.end())); }) {}

    Received& put(const Bytes& datagram, int time_ms = 0) {
        stream.put(datagram, RtpStream::Time(std::chrono::milliseconds(time_ms)));
        return *this;
    }
    Received& tick(int time_ms) {
        stream.tick(RtpStream::Time(std::chrono::milliseconds(time_ms)));
        return *this;
    }
    Numbers pids() const {
        Numbers pids;
        for (size_t at = 0; at + 188 <= bytes.size(); at += 188)
            pids.push_back((bytes[at + 1] & 0x1F) << 8 | bytes[at + 2]);
        return pids;
    }

    Bytes bytes;
    RtpStream stream;
};

struct Result {
    Numbers pids;
    RtpCounts counts;
};

Result receive(const std::vector<Datagram>& datagrams) {
    Received received;
    for (const Datagram& datagram : datagrams)
        received.put(datagram.build());
    received.stream.finish();
    return {received.pids(), received.stream.counts()};
}

TEST(RtpStream, IsInOrderWhateverHappensWithinTheWindow) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        constexpr int kFirst = 65500, kCount = 100;  // across the wrap
        std::vector<std::pair<int, int>> arrivals;   // when, which
        Numbers expected;
        int lost = 0, repeated = 0;
        for (int i = 0; i < kCount; ++i) {
            const bool edge = i == 0 || i == kCount - 1;  // losses there leave no trace
            if (!edge && random() % 8 == 0) {
                ++lost;
                continue;
            }
            expected.push_back((kFirst + i) & 0xFFFF & 0x1FFF);
            arrivals.emplace_back(i == 0 ? -1 : i + static_cast<int>(random() % 16), i);
            if (!edge && random() % 8 == 0) {
                ++repeated;
                arrivals.emplace_back(i + static_cast<int>(random() % 30), i);
            }
        }
        std::ranges::stable_sort(arrivals, {}, [](const auto& arrival) { return arrival.first; });
        std::vector<Datagram> datagrams;
        for (const auto& [when, which] : arrivals)
            datagrams.push_back({kFirst + which});
        const auto [pids, counts] = receive(datagrams);
        ASSERT_EQ(pids, expected) << round;
        ASSERT_EQ((Numbers{static_cast<int>(counts.lost), static_cast<int>(counts.repeated),
                           static_cast<int>(counts.late)}),
                  (Numbers{lost, repeated, 0}))
            << round;
    }
}

TEST(RtpStream, WaitsForAGapAsLongAsItIsTold) {
    Received received({128, 200});
    for (const auto& [sequence, time_ms] : {std::pair(1, 0), {3, 10}, {5, 150}, {6, 209}})
        received.put(Datagram{sequence}.build(), time_ms);
    EXPECT_EQ(received.pids(), Numbers{1});
    EXPECT_EQ(received.tick(210).pids(), (Numbers{1, 3}));
    EXPECT_EQ(received.tick(349).pids(), (Numbers{1, 3}));
    EXPECT_EQ(received.tick(350).pids(), (Numbers{1, 3, 5, 6}));
    EXPECT_EQ(received.put(Datagram{2}.build(), 351).stream.counts().late, 1u);
    EXPECT_EQ(received.stream.counts().lost, 2u);
    // And for as many packets: with none of them a gap is given up at once.
    Received hasty({0, 200});
    for (const int sequence : {1, 3, 2})
        hasty.put(Datagram{sequence}.build());
    EXPECT_EQ(hasty.pids(), (Numbers{1, 3}));
}

TEST(RtpStream, FollowsOtherSendersAndOnesThatBeginAnew) {
    const Result other = receive({{10}, {12}, {60, 33, 8}, {61, 33, 8}});
    EXPECT_EQ(other.pids, (Numbers{10, 12, 60, 61}));
    EXPECT_EQ(other.counts.ssrc_changes, 1u);
    EXPECT_EQ(other.counts.lost, 1u);
    for (const int start : {5000, 60000}) {  // far ahead, far back
        const Result anew = receive({{1000}, {1001}, {start}, {start + 1}, {start + 2}});
        EXPECT_EQ(anew.pids, (Numbers{1000, 1001, start & 0x1FFF, (start + 1) & 0x1FFF,
                                      (start + 2) & 0x1FFF}));
        EXPECT_EQ(anew.counts.restarts, 1u);
        EXPECT_EQ(anew.counts.lost + anew.counts.late, 0u);
        // One alone is a stray.
        EXPECT_EQ(receive({{1000}, {start}, {1001}}).pids, (Numbers{1000, 1001}));
    }
}

TEST(RtpStream, LeavesOutWhatIsNoTransportStream) {
    Bytes fec(1332, 0x47);  // of no whole packets
    Received received;
    received.put(Datagram{1}.build());
    received.put(Bytes{0x80, 200, 0, 6} + Bytes(24, 1));  // RTCP, its length where RTP counts
    received.put(Datagram{9000, 96}.with(fec));
    received.put(Datagram{4, 8}.with(Bytes(160)));  // sound
    received.put({1, 2, 3});
    received.put(Datagram{2}.build());
    EXPECT_EQ(received.pids(), (Numbers{1, 2}));
    const RtpCounts counts = received.stream.counts();
    EXPECT_EQ(counts.rtcp, 1u);
    EXPECT_EQ(counts.other, 2u);
    EXPECT_EQ(counts.bad, 1u);
    EXPECT_EQ(counts.packets, 2u);
    EXPECT_EQ(counts.lost + counts.ssrc_changes, 0u);
}

TEST(RtpStream, TakesPayloadsOfAnySizeAsTheyCome) {
    Bytes sent;
    for (int i = 0; i < 40; ++i)
        append(sent, TsPacket(i).build());
    for (const int type : {33, 97}) {  // the agreed type tells itself by its first payload
        Received received;
        size_t at = 0;
        int sequence = 0;
        for (size_t size = 7 * 188; at < sent.size(); at += size, size = 1000) {
            const size_t end = std::min(at + size, sent.size());
            // A list of sources, a header extension and padding around it.
            Bytes payload = Bytes(8) + Bytes{0xBE, 0xDE, 0, 1, 9, 9, 9, 9};
            payload.insert(payload.end(), sent.begin() + static_cast<long>(at),
                           sent.begin() + static_cast<long>(end));
            append(payload, {0, 0, 3});
            received.put(Datagram{sequence++, type, 7, 0xB2}.with(payload));
        }
        EXPECT_EQ(received.bytes, sent) << type;
        EXPECT_EQ(received.stream.counts().unaligned, static_cast<uint64_t>(sequence - 1));
    }
}

TEST(RtpStream, PassesPacketsWithoutRtp) {
    Received received;
    const Bytes packets = TsPacket(1).build() + TsPacket(2).build();
    received.put({1, 2, 3}).put(packets).put(packets);
    EXPECT_TRUE(received.stream.is_plain());
    EXPECT_EQ(received.bytes, packets + packets);
}

}  // namespace
