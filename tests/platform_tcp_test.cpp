// SPDX-License-Identifier: MIT
// The tcp handler over the loopback interface.
#include <gtest/gtest.h>

#include "support/protocol_source.h"

namespace {

using namespace zvtest;

TEST(ProtocolTcp, FillsTheBufferAndCarriesBothWays) {
    const int port = freePort(SOCK_STREAM);
    const Thread peer([port] {
        Source server(local("tcp", port, "?listen=1"));
        ASSERT_EQ(server.open(), 0);
        EXPECT_EQ(server.text(5), "hello");
        for (const char* piece : {"ab", "cd", "ef"}) {
            EXPECT_EQ(server.write(piece), 2);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    Source client(local("tcp", port));
    for (int tries = 0; client.open() == -ECONNREFUSED && tries < 100; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(client.write("hello"), 5);
    EXPECT_EQ(client.text(5), "abcde");
    EXPECT_EQ(client.text(5), "f");
    EXPECT_EQ(client.read(5), 0);
}

TEST(ProtocolTcp, StopsAtTheTimeOutAndAtASignal) {
    const Server server([](int fd) {
        sendAll(fd, "abc");
        waitForHangUp(fd);
    });
    Source source(local("tcp", server.port, "?timeout=150"));
    ASSERT_EQ(source.open(), 0);
    EXPECT_EQ(source.text(5), "abc");
    EXPECT_EQ(source.read(5), -ETIMEDOUT);
    Source interrupted(local("tcp", server.port, "?timeout=1000"));
    source.close();
    ASSERT_EQ(interrupted.open(), 0);
    const Thread interrupter = interruptSoon();
    EXPECT_EQ(interrupted.text(5), "abc");
    EXPECT_EQ(interrupted.read(5), -EINTR) << "not lost behind the bytes that came before";
}

TEST(ProtocolTcp, ReportsAPeerThatIsNotThereOrGone) {
    EXPECT_EQ(openResult(local("tcp", freePort(SOCK_STREAM))), -ECONNREFUSED);
    EXPECT_EQ(openResult(local("tcp", freePort(SOCK_STREAM), "?listen=1&timeout=50")), -ETIMEDOUT);
    const Server server([](int) {});
    Source source(local("tcp", server.port));
    ASSERT_EQ(source.open(), 0);
    EXPECT_EQ(source.read(1), 0);
    int result = 1;
    for (int tries = 0; result > 0 && tries < 100; ++tries)
        result = source.write("x");
    EXPECT_TRUE(result == -EPIPE || result == -ECONNRESET) << result;
}

}  // namespace
