// SPDX-License-Identifier: MIT
// The http handler against a web server of a few pages.
#include <gtest/gtest.h>

#include "support/protocol_source.h"

namespace {

using namespace zvtest;

// A web server of a few pages; "/body" is larger than anything buffered on the way.
const std::string kBody = [] {
    std::string body;
    while (body.size() < 3 << 20)
        body += std::to_string(body.size()) + ' ';
    return body;
}();

void serveHttp(int fd) {
    std::string request(2048, '\0');
    request.resize(static_cast<size_t>(std::max<ssize_t>(recv(fd, request.data(), 2048, 0), 0)));
    const auto asks = [&](const char* page) {
        return request.starts_with("GET " + std::string(page) + " ");
    };
    const std::string ok = "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: ";
    if (asks("/body?timeout=x"))
        return sendAll(fd, ok + std::to_string(kBody.size()) + "\r\n\r\n" + kBody);
    if (asks("/empty")) return sendAll(fd, ok + "0\r\n\r\n");
    if (asks("/short")) return sendAll(fd, ok + "100\r\n\r\nabc");
    if (asks("/moved"))
        return sendAll(fd, "HTTP/1.1 302 Found\r\nLocation: /empty\r\nContent-Length: 0\r\n\r\n");
    if (asks("/away"))
        return sendAll(fd, "HTTP/1.1 302 Found\r\nLocation: ftp://127.0.0.1:1/\r\n\r\n");
    if (asks("/stall")) {
        sendAll(fd, ok + "100\r\n\r\nabc");
        return waitForHangUp(fd);
    }
    sendAll(fd, "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone");
}

class ProtocolHttp : public testing::Test {
  protected:
    void SetUp() override {
        setenv("no_proxy", "*", 1);
        if (openResult(local("http", server.port, "/empty")) == -ENOSYS)
            GTEST_SKIP() << "built without libcurl";
    }
    Server server{serveHttp};
};

TEST_F(ProtocolHttp, StreamsABodyLargerThanItsBuffer) {
    zvptc_api_init();
    EXPECT_EQ(zvptc_api_register(), 0);
    Source source(local("http", server.port, "/body?timeout=x"));
    ASSERT_EQ(source.open(), 0);
    zvptc_api_deinit();  // must not pull the client from under an open stream
    std::string got;
    for (int size = 1; source.read(size) > 0; size = size * 3 % 100003)
        got += source.bytes;
    EXPECT_TRUE(got == kBody) << got.size();
    EXPECT_EQ(source.read(1), 0);
    EXPECT_EQ(source.write("x"), -EOPNOTSUPP);
}

TEST_F(ProtocolHttp, TellsRefusalsFromEmptyPages) {
    EXPECT_EQ(openResult(local("http", server.port, "/none")), -ENOENT);
    EXPECT_EQ(openResult("http:///x"), -EINVAL);
    EXPECT_EQ(openResult(local("http", server.port, "/away")), -EINVAL);
    EXPECT_EQ(openResult(local("http", server.port, "/moved")), 0);
    EXPECT_EQ(openResult(local("http", server.port, "/x"), ZVPTC_OPEN_WRITE), -EOPNOTSUPP);
    EXPECT_EQ(openResult(local("http", freePort(SOCK_STREAM))), -ECONNREFUSED);
    Source empty(local("http", server.port, "/empty"));
    ASSERT_EQ(empty.open(), 0);
    EXPECT_EQ(empty.read(1), 0);
}

TEST_F(ProtocolHttp, ReportsABodyThatBreaksOffStallsOrIsInterrupted) {
    Source cut(local("http", server.port, "/short"));
    ASSERT_EQ(cut.open(), 0);
    EXPECT_EQ(cut.text(9), "abc");
    EXPECT_EQ(cut.read(9), -ECONNRESET);
    Source stalled(local("http", server.port, "/stall"), 0, 150);
    ASSERT_EQ(stalled.open(), 0);
    EXPECT_EQ(stalled.text(9), "abc");
    EXPECT_EQ(stalled.read(9), -ETIMEDOUT);
    stalled.close();
    Source interrupted(local("http", server.port, "/stall"), 0, 5000);
    ASSERT_EQ(interrupted.open(), 0);
    const Thread interrupter = interruptSoon();
    EXPECT_EQ(interrupted.text(9), "abc");
    EXPECT_EQ(interrupted.read(9), -EINTR);
}

}  // namespace
