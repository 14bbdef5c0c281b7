// SPDX-License-Identifier: MIT
// RTP: headers and the order of sequence numbers. e2e_commands_test.cpp has the tool on datagrams.
#include <gtest/gtest.h>

#include "mpeg/ts_tools/rtp_order.h"
#include "rtp/rtp_header.h"
#include "support/guarded_buffer.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using Numbers = std::vector<int>;

Bytes rtp(int first_byte, int sequence, const Bytes& after_head, uint32_t ssrc = 7) {
    Bytes datagram{static_cast<uint8_t>(first_byte), 33};
    append16(datagram, sequence);
    append32(datagram, 0x01020304);
    append32(datagram, ssrc);
    append(datagram, after_head);
    return datagram;
}

TEST(RtpHeader, FindsThePayloadBetweenListsExtensionAndPadding) {
    const Bytes csrc(8, 0xCC), payload{1, 2, 3}, extension{0xBE, 0xDE, 0, 1, 9, 9, 9, 9};
    Bytes after_head = csrc;
    append(after_head, extension);
    append(after_head, payload);
    append(after_head, {0, 0, 3});
    const Bytes datagram = rtp(0x80 | 0x20 | 0x10 | 2, 0xFFFE, after_head, 0xA1B2C3D4);
    const auto packet = zv::parse_rtp(datagram);
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->sequence, 0xFFFE);
    EXPECT_EQ(packet->ssrc, 0xA1B2C3D4);
    EXPECT_EQ(Bytes(packet->payload.begin(), packet->payload.end()), payload);
    EXPECT_EQ(packet->payload_type, 33);
    EXPECT_EQ(packet->time_stamp, 0x01020304u);
    EXPECT_TRUE(zv::parse_rtp(rtp(0x80, 1, {}))->payload.empty());
    const auto head = zv::make_rtp_head(*packet);
    EXPECT_EQ(Bytes(head.begin(), head.end()), rtp(0x80, 0xFFFE, {}, 0xA1B2C3D4));
}

TEST(RtpHeader, TellsRtcpByTheSecondByteWhateverTheMarker) {
    for (int second = 0; second < 256; ++second) {
        const Bytes datagram{0x81, static_cast<uint8_t>(second), 0, 6};
        EXPECT_EQ(zv::is_rtcp(datagram), second >= 192 && second <= 223) << second;
    }
    EXPECT_FALSE(zv::is_rtcp(Bytes{0x41, 200, 0, 6}));  // version 1
    EXPECT_FALSE(zv::is_rtcp(Bytes{0x81, 200, 0}));
}

TEST(RtpHeader, RefusesWhatItDoesNotHoldAndReadsNothingBeyond) {
    Bytes after_head(8, 0xCC);
    append(after_head, {0xBE, 0xDE, 0, 1, 9, 9, 9, 9});
    const Bytes head = rtp(0x80 | 0x10 | 2, 1, after_head);
    GuardedBuffer buffer(2048);
    for (size_t size = 0; size <= head.size(); ++size) {
        const std::span<const uint8_t> part(buffer.place({head.data(), size}), size);
        EXPECT_EQ(zv::parse_rtp(part).has_value(), size == head.size()) << size;
    }
    EXPECT_FALSE(zv::parse_rtp(rtp(0x40, 1, {1})));                     // version 1
    EXPECT_FALSE(zv::parse_rtp(rtp(0xA0, 1, {})));                      // padding of nothing
    EXPECT_FALSE(zv::parse_rtp(rtp(0xA0, 1, {5, 0})));                  // of zero bytes
    EXPECT_FALSE(zv::parse_rtp(rtp(0xA0, 1, {5, 3})));                  // of too many
    EXPECT_TRUE(zv::parse_rtp(rtp(0xA0, 1, {5, 2}))->payload.empty());  // of all
    EXPECT_FALSE(zv::parse_rtp(rtp(0x90, 1, {0xBE, 0xDE, 0xFF, 0xFF, 0, 0, 0, 0})));
}

struct Ordered {
    Numbers order;
    Numbers counts;  // packets, lost, repeated, reordered, late
};

// Payloads are their own sequence numbers.
Ordered put_in_order(const Numbers& arrivals) {
    Ordered result;
    const auto order = std::make_unique<zv::RtpOrder>();
    order->deliver_to(
        [](void* to, std::span<const uint8_t> payload) {
            static_cast<Numbers*>(to)->push_back(payload[0] << 8 | payload[1]);
        },
        &result.order);
    for (const int sequence : arrivals) {
        Bytes payload;
        append16(payload, sequence);
        order->put({static_cast<uint16_t>(sequence), 7, payload});
    }
    order->flush();
    const auto& counts = order->counts();
    for (const uint64_t count :
         {counts.packets, counts.lost, counts.repeated, counts.reordered, counts.late})
        result.counts.push_back(static_cast<int>(count));
    return result;
}

TEST(RtpOrder, SwapsBackAcrossTheWrapAndDropsRepeats) {
    const Ordered result = put_in_order({65534, 0, 65535, 65535, 0, 3, 1, 3, 2, 2});
    EXPECT_EQ(result.order, (Numbers{65534, 65535, 0, 1, 2, 3}));
    EXPECT_EQ(result.counts, (Numbers{10, 0, 4, 3, 0}));
}

TEST(RtpOrder, WaitsForSixteenPacketsAndNoMore) {
    for (const int overtaking : {16, 17}) {
        Numbers arrivals{100}, sorted{100};
        for (int i = 1; i <= overtaking; ++i)
            arrivals.push_back(101 + i);
        arrivals.push_back(101);
        const bool in_time = overtaking == 16;
        if (in_time) sorted.push_back(101);
        for (int i = 1; i <= overtaking; ++i)
            sorted.push_back(101 + i);
        const Ordered result = put_in_order(arrivals);
        EXPECT_EQ(result.order, sorted);
        EXPECT_EQ(result.counts, (Numbers{overtaking + 2, in_time ? 0 : 1, 0, in_time, !in_time}));
    }
}

TEST(RtpOrder, CountsGapsOfAnySizeAndFollowsASenderThatBeganAnew) {
    EXPECT_EQ(put_in_order({1, 2, 5, 40}).counts, (Numbers{4, 2 + 34, 0, 0, 0}));
    EXPECT_EQ(put_in_order({10, 10 + 32767}).counts, (Numbers{2, 32766, 0, 0, 0}));
    EXPECT_EQ(put_in_order({5, 6, 4, 4}).counts,
              (Numbers{4, 0, 1, 0, 1}));  // 4 came before the first
    const Ordered anew = put_in_order({30000, 30001, 100, 101, 102});
    EXPECT_EQ(anew.order, (Numbers{30000, 30001, 101, 102}));
    EXPECT_EQ(anew.counts, (Numbers{5, 0, 0, 0, 1}));
}

}  // namespace
