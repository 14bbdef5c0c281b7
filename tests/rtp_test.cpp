// SPDX-License-Identifier: MIT
// RTP: headers, the order of sequence numbers, and the RTP tool on datagrams that really travel
// over the loopback interface, some of them lost, repeated or swapped on purpose.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "mpeg/ts_tools/rtp_header.h"
#include "mpeg/ts_tools/rtp_order.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"
#include "support/test_media.h"
#include "support/ts_builder.h"
#include "ts_tools.h"

namespace {

using namespace zvtest;
using namespace std::chrono_literals;
using Numbers = std::vector<int>;

Bytes rtp(int first_byte, int sequence, const Bytes& behind, uint32_t ssrc = 7) {
    Bytes datagram{static_cast<uint8_t>(first_byte), 33};
    append16(datagram, sequence);
    append32(datagram, 0x01020304);
    append32(datagram, ssrc);
    append(datagram, behind);
    return datagram;
}

TEST(RtpHeader, FindsThePayloadBetweenListsExtensionAndPadding) {
    const Bytes csrc(8, 0xCC), payload{1, 2, 3}, extension{0xBE, 0xDE, 0, 1, 9, 9, 9, 9};
    Bytes behind = csrc;
    append(behind, extension);
    append(behind, payload);
    append(behind, {0, 0, 3});
    const Bytes datagram = rtp(0x80 | 0x20 | 0x10 | 2, 0xFFFE, behind, 0xA1B2C3D4);
    const auto packet = zv::parse_rtp(datagram);
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->sequence, 0xFFFE);
    EXPECT_EQ(packet->ssrc, 0xA1B2C3D4);
    EXPECT_EQ(Bytes(packet->payload.begin(), packet->payload.end()), payload);
    EXPECT_TRUE(zv::parse_rtp(rtp(0x80, 1, {}))->payload.empty());
}

TEST(RtpHeader, RefusesWhatItDoesNotHoldAndReadsNothingBeyond) {
    Bytes behind(8, 0xCC);
    append(behind, {0xBE, 0xDE, 0, 1, 9, 9, 9, 9});
    const Bytes head = rtp(0x80 | 0x10 | 2, 1, behind);
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
    zv::RtpOrder::Counts counts;
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
        const uint8_t payload[] = {static_cast<uint8_t>(sequence >> 8),
                                   static_cast<uint8_t>(sequence)};
        order->put({static_cast<uint16_t>(sequence), 7, payload});
    }
    order->flush();
    result.counts = order->counts();
    return result;
}

void expect_counts(const zv::RtpOrder::Counts& counts, const Numbers& expected) {
    EXPECT_EQ((Numbers{static_cast<int>(counts.packets), static_cast<int>(counts.lost),
                       static_cast<int>(counts.repeated), static_cast<int>(counts.reordered),
                       static_cast<int>(counts.late)}),
              expected);
}

TEST(RtpOrder, SwapsBackAcrossTheWrapAndDropsRepeats) {
    const Ordered result = put_in_order({65534, 0, 65535, 65535, 0, 3, 1, 3, 2, 2});
    EXPECT_EQ(result.order, (Numbers{65534, 65535, 0, 1, 2, 3}));
    expect_counts(result.counts, {10, 0, 4, 3, 0});
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
        expect_counts(result.counts, {overtaking + 2, in_time ? 0 : 1, 0, in_time, !in_time});
    }
}

TEST(RtpOrder, CountsGapsOfAnySizeAndFollowsASenderThatBeganAnew) {
    expect_counts(put_in_order({1, 2, 5, 40}).counts, {4, 2 + 34, 0, 0, 0});
    expect_counts(put_in_order({10, 10 + 32767}).counts, {2, 32766, 0, 0, 0});
    expect_counts(put_in_order({5, 6, 4, 4}).counts, {4, 0, 1, 0, 1});  // 4 came before the first
    const Ordered anew = put_in_order({30000, 30001, 100, 101, 102});
    EXPECT_EQ(anew.order, (Numbers{30000, 30001, 101, 102}));
    expect_counts(anew.counts, {5, 0, 0, 0, 1});
}

// Runs the tool over datagrams sent to a port of the loopback interface.
class Loopback {
  public:
    explicit Loopback(const std::string& scheme) {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        to_.sin_family = AF_INET;
        to_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        choose_port();
        url_ = scheme + "://127.0.0.1:" + std::to_string(ntohs(to_.sin_port));
        out_ = (std::filesystem::temp_directory_path() /
                ("rtp_test." + std::to_string(getpid()) + ".ts"))
                   .string();
        tool_ = std::thread([this] {
            result_ = mpegts_api_rtpDemux(3, url_.c_str(), out_.c_str());
            done_ = true;
        });
        while (waiting_bytes() < 0 && !done_)
            std::this_thread::sleep_for(1ms);
    }
    ~Loopback() {
        finish();
        close(socket_);
        std::filesystem::remove(out_);
    }
    Loopback(const Loopback&) = delete;

    // Waits for the receiver: what is lost here is lost on purpose.
    void send(const Bytes& datagram) {
        while (waiting_bytes() > 50'000)
            std::this_thread::sleep_for(1ms);
        sendto(socket_, datagram.data(), datagram.size(), 0,
               reinterpret_cast<const sockaddr*>(&to_), sizeof to_);
    }
    // Interrupts the tool when it has read everything. -> its result
    int finish() {
        while (waiting_bytes() > 0)
            std::this_thread::sleep_for(1ms);
        while (tool_.joinable()) {
            pthread_kill(tool_.native_handle(), SIGUSR1);
            std::this_thread::sleep_for(5ms);
            if (done_) tool_.join();
        }
        return result_;
    }
    Bytes received() const {
        std::ifstream file(out_, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(file), {});
    }

  private:
    void choose_port() {
        const int probe = socket(AF_INET, SOCK_DGRAM, 0);
        socklen_t length = sizeof to_;
        bind(probe, reinterpret_cast<const sockaddr*>(&to_), length);
        getsockname(probe, reinterpret_cast<sockaddr*>(&to_), &length);
        close(probe);
    }
    // -> bytes in the tool's socket, -1 when it has none yet
    long waiting_bytes() const {
        std::ifstream sockets("/proc/net/udp");
        for (std::string line; std::getline(sockets, line);) {
            unsigned port = 0;
            long waiting = 0;
            const int found =
                sscanf(line.c_str(), " %*d: 0100007F:%x %*x:%*x %*x %*x:%lx", &port, &waiting);
            if (found == 2 && port == ntohs(to_.sin_port)) return waiting;
        }
        return -1;
    }

    sockaddr_in to_ = {};
    int socket_ = socket(AF_INET, SOCK_DGRAM, 0);
    std::string url_, out_;
    std::thread tool_;
    std::atomic<bool> done_ = false;
    int result_ = 99;
};

// The sample in datagrams of one to seven packets.
std::vector<Bytes> datagrams_of(const Bytes& stream) {
    std::vector<Bytes> all;
    for (size_t at = 0; at < stream.size();) {
        const size_t size = std::min((all.size() % 7 + 1) * 188, stream.size() - at);
        all.emplace_back(stream.begin() + static_cast<ptrdiff_t>(at),
                         stream.begin() + static_cast<ptrdiff_t>(at + size));
        at += size;
    }
    return all;
}

TEST(RtpTool, RestoresASampleThatLostRepeatedAndSwappedDatagrams) {
    LogRecorder log;
    const std::vector<Bytes> parts = datagrams_of(load_media("single.ts"));
    Bytes expected;
    Loopback loopback("rtp");
    constexpr int kFirstSequence = 65500;  // wraps early
    std::vector<Bytes> sent;
    int lost = 0;
    for (size_t i = 0; i < parts.size(); ++i) {
        const int sequence = kFirstSequence + static_cast<int>(i);
        if (i % 100 == 50) {
            ++lost;
            continue;
        }
        append(expected, parts[i]);
        Bytes behind(4, 0xCC);  // every other one with a CSRC, an extension and padding
        if (i % 2 == 1) append(behind, {0, 0, 0, 1, 1, 2, 3, 4});
        append(behind, parts[i]);
        if (i % 2 == 1) append(behind, {0, 2});
        sent.push_back(i % 2 == 1 ? rtp(0xB1, sequence, behind) : rtp(0x81, sequence, behind));
    }
    std::swap(sent[10], sent[11]);
    std::rotate(sent.begin() + 20, sent.begin() + 21, sent.begin() + 37);  // 20 behind 16 others
    std::swap(sent[200], sent[201]);
    sent.insert(sent.begin() + 150, sent[149]);
    sent.insert(sent.begin() + 100, sent[80]);
    sent.insert(sent.begin() + 60, {1, 2, 3});
    for (const Bytes& datagram : sent)
        loopback.send(datagram);

    EXPECT_EQ(loopback.finish(), 0);
    EXPECT_EQ(loopback.received(), expected);
    EXPECT_EQ(log.opened(), std::vector<std::string>{"/var/log/tavrix/rtpDemux.txt"});
    EXPECT_EQ(log.bodies(3).back(),
              "[RTP]packets,lost,repeated,reordered,late,bad:" + std::to_string(sent.size() - 1) +
                  "," + std::to_string(lost) + ",2,3,0,1");
    EXPECT_EQ(log.count("* packets,skippedBytes,syncLosses:" +
                        std::to_string(expected.size() / 188) + ",0,0"),
              1);
}

TEST(RtpTool, PassesDatagramsOfPlainTransportStream) {
    LogRecorder log;
    const Bytes sample = load_media("three-programs.ts");
    Loopback loopback("udp");
    for (const Bytes& datagram : datagrams_of(sample))
        loopback.send(datagram);
    EXPECT_EQ(loopback.finish(), 0);
    EXPECT_EQ(loopback.received(), sample);
    EXPECT_EQ(log.count("program_num[3]"), 1);
    EXPECT_EQ(log.bodies(3).back(), "[RTP]packets,lost,repeated,reordered,late,bad:0,0,0,0,0,0");
}

}  // namespace
