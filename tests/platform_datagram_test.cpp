// SPDX-License-Identifier: MIT
// The udp and rtp handlers over the loopback interface.
#include <gtest/gtest.h>

#include "support/protocol_source.h"

namespace {

using namespace zvtest;

TEST(ProtocolDatagram, KeepsItsBorders) {
    for (const char* scheme : {"udp", "rtp"}) {
        const int port = freePort(SOCK_DGRAM);
        Source in(local(scheme, port, "?timeout=60&rcvbuf=65536"));
        Source out(local(scheme, port, "?pkt_size=1316&ttl=1&localaddr=127.0.0.1"),
                   ZVPTC_OPEN_WRITE);
        ASSERT_EQ(out.open(), 0);
        EXPECT_EQ(out.write("nobody listens"), 14);
        EXPECT_EQ(out.write("which is no error"), 17);
        ASSERT_EQ(in.open(), 0);
        EXPECT_EQ(out.write(std::string(1317, 'x')), -EMSGSIZE);
        for (const char* text : {"first", "second one", "third"})
            out.write(text);
        EXPECT_EQ(in.text(100), "first");
        EXPECT_EQ(in.read(5), -EMSGSIZE);
        EXPECT_EQ(in.text(5), "third");
        EXPECT_EQ(in.read(5), -ETIMEDOUT);
        EXPECT_EQ(in.write("x"), -EBADF);
        EXPECT_EQ(out.read(1), -EBADF);
    }
}

// Else a sender could hold a reader for ever.
TEST(ProtocolDatagram, AStreamOfEmptyOnesDoesNotOutlastTheTimeOut) {
    const int port = freePort(SOCK_DGRAM);
    Source in(local("udp", port, "?timeout=0&rcvbuf=65536"));
    ASSERT_EQ(in.open(), 0);
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in to = loopback(port);
    for (const size_t size : {0, 0, 3})
        sendto(fd, "abc", size, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    ::close(fd);
    EXPECT_EQ(in.read(10), -ETIMEDOUT);
    EXPECT_EQ(in.read(10), -ETIMEDOUT);
    EXPECT_EQ(in.text(10), "abc");
}

TEST(ProtocolDatagram, ReachesTheGroupOnTheChosenInterfaceOnly) {
    const std::string group = "@239.255.77.1:" + std::to_string(freePort(SOCK_DGRAM));
    const std::string plain = group.substr(1);
    Source first("udp://" + group, 0, 100);
    first.context.interface_in = "lo";
    Source second("rtp://127.0.0.1@" + plain + "?interface=127.0.0.1&timeout=100");
    Source stranger("udp://127.0.0.9@" + plain + "?localaddr=lo&timeout=100");
    if (first.open() < 0) GTEST_SKIP() << "no multicast on the loopback interface here";
    ASSERT_EQ(second.open(), 0);
    ASSERT_EQ(stranger.open(), 0);
    Source out("udp://" + plain + "?interface=127.0.0.1&ttl=0", ZVPTC_OPEN_WRITE);
    ASSERT_EQ(out.open(), 0);
    ASSERT_EQ(out.write("to all"), 6);
    EXPECT_EQ(first.text(100), "to all");
    EXPECT_EQ(second.text(100), "to all");
    EXPECT_EQ(stranger.read(100), -ETIMEDOUT) << "only the named sender counts";
    EXPECT_EQ(openResult("udp://" + group + "?interface=none0"), -ENODEV);
}

TEST(ProtocolDatagram, RefusesWhatCannotWork) {
    for (const char* url :
         {"udp://", "udp:127.0.0.1:9", "udp://127.0.0.1", "udp://127.0.0.1:9?timeout=x",
          "udp://127.0.0.1:9?ttl=256", "udp://127.0.0.1:9?pkt_size=0",
          "udp://127.0.0.1:9?rcvbuf=", "tcp://:9", "tcp://127.0.0.1:9?listen=2"})
        EXPECT_EQ(openResult(url), -EINVAL) << url;
    EXPECT_EQ(openResult("udp://192.0.2.1:9"), -EADDRNOTAVAIL) << "not an address of ours";
    EXPECT_EQ(openResult("udp://:9", ZVPTC_OPEN_WRITE), -EINVAL) << "nowhere to send to";
}

TEST(ProtocolDatagram, AnInterruptedReadEndsCleanly) {
    Source in(local("udp", freePort(SOCK_DGRAM)));
    ASSERT_EQ(in.open(), 0);
    const Thread interrupter = interruptSoon();
    EXPECT_EQ(in.read(10), -EINTR);
    EXPECT_EQ(in.close(), 0);
}

}  // namespace
