// SPDX-License-Identifier: MIT
// The handlers of the network over the loopback interface: udp and rtp, tcp, and http against a web
// server of a few pages.
#include <gtest/gtest.h>
#include <netdb.h>

#include <zvprotocol_ext.h>

#include "support/protocol_source.h"

namespace {

using namespace zvtest;

TEST(ProtocolDatagram, KeepsItsBorders) {
    for (const char* scheme : {"udp", "rtp"}) {
        const int port = free_port(SOCK_DGRAM);
        Source in(local(scheme, port, "?timeout=60&rcvbuf=65536"));
        Source out(local(scheme, port, "?pkt_size=1316&ttl=1&localaddr=127.0.0.1"),
                   ZVPTC_OPEN_WRITE);
        ASSERT_EQ(out.open(), 0);
        EXPECT_EQ(out.write("no one listens"), 14);
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
    const int port = free_port(SOCK_DGRAM);
    Source in(local("udp", port, "?timeout=0&rcvbuf=65536"));
    ASSERT_EQ(in.open(), 0);
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in to = loopback(port);
    for (const size_t size : {0U, 0U, 3U})
        sendto(fd, "abc", size, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    ::close(fd);
    EXPECT_EQ(in.read(10), -ETIMEDOUT);
    EXPECT_EQ(in.read(10), -ETIMEDOUT);
    EXPECT_EQ(in.text(10), "abc");
}

TEST(ProtocolDatagram, ReachesTheGroupOnTheChosenInterfaceOnly) {
    const std::string group = "@239.255.77.1:" + std::to_string(free_port(SOCK_DGRAM));
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
    EXPECT_EQ(open_result("udp://" + group + "?interface=none0"), -ENODEV);
}

TEST(ProtocolDatagram, RefusesWhatCannotWork) {
    for (const char* url :
         {"udp://", "udp:127.0.0.1:9", "udp://127.0.0.1", "udp://127.0.0.1:9?timeout=x",
          "udp://127.0.0.1:9?ttl=256", "udp://127.0.0.1:9?pkt_size=0",
          "udp://127.0.0.1:9?rcvbuf=", "tcp://:9", "tcp://127.0.0.1:9?listen=2"})
        EXPECT_EQ(open_result(url), -EINVAL) << url;
    EXPECT_EQ(open_result("udp://192.0.2.1:9"), -EADDRNOTAVAIL) << "not an address of ours";
    EXPECT_EQ(open_result("udp://:9", ZVPTC_OPEN_WRITE), -EINVAL) << "nowhere to send to";
}

TEST(ProtocolDatagram, AnInterruptedReadEndsCleanly) {
    Source in(local("udp", free_port(SOCK_DGRAM)));
    ASSERT_EQ(in.open(), 0);
    const Thread interrupter = interrupt_soon();
    EXPECT_EQ(in.read(10), -EINTR);
    EXPECT_EQ(in.close(), 0);
}

TEST(ProtocolTcp, FillsTheBufferAndCarriesBothWays) {
    const int port = free_port(SOCK_STREAM);
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
        send_all(fd, "abc");
        wait_for_hang_up(fd);
    });
    Source source(local("tcp", server.port, "?timeout=150"));
    ASSERT_EQ(source.open(), 0);
    EXPECT_EQ(source.text(5), "abc");
    EXPECT_EQ(source.read(5), -ETIMEDOUT);
    Source interrupted(local("tcp", server.port, "?timeout=1000"));
    source.close();
    ASSERT_EQ(interrupted.open(), 0);
    const Thread interrupter = interrupt_soon();
    EXPECT_EQ(interrupted.text(5), "abc");
    EXPECT_EQ(interrupted.read(5), -EINTR) << "not lost after the bytes that came before";
}

TEST(ProtocolTcp, ReportsAPeerThatIsNotThereOrGone) {
    EXPECT_EQ(open_result(local("tcp", free_port(SOCK_STREAM))), -ECONNREFUSED);
    EXPECT_EQ(open_result(local("tcp", free_port(SOCK_STREAM), "?listen=1&timeout=50")),
              -ETIMEDOUT);
    const Server server([](int) {});
    Source source(local("tcp", server.port));
    ASSERT_EQ(source.open(), 0);
    EXPECT_EQ(source.read(1), 0);
    int result = 1;
    for (int tries = 0; result > 0 && tries < 100; ++tries)
        result = source.write("x");
    EXPECT_TRUE(result == -EPIPE || result == -ECONNRESET) << result;
}

// A web server of a few pages; "/body" is larger than anything buffered on the way.
const std::string kBody = [] {
    std::string body;
    while (body.size() < 3 << 20)
        body += std::to_string(body.size()) + ' ';
    return body;
}();

void serve_http(int fd) {
    std::string request(2048, '\0');
    request.resize(static_cast<size_t>(std::max<ssize_t>(recv(fd, request.data(), 2048, 0), 0)));
    const auto asks = [&](const char* page) {
        return request.starts_with("GET " + std::string(page) + " ");
    };
    const std::string ok = "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: ";
    if (asks("/body?timeout=x"))
        return send_all(fd, ok + std::to_string(kBody.size()) + "\r\n\r\n" + kBody);
    if (asks("/empty")) return send_all(fd, ok + "0\r\n\r\n");
    if (asks("/short")) return send_all(fd, ok + "100\r\n\r\nabc");
    if (asks("/moved"))
        return send_all(fd, "HTTP/1.1 302 Found\r\nLocation: /empty\r\nContent-Length: 0\r\n\r\n");
    if (asks("/away"))
        return send_all(fd, "HTTP/1.1 302 Found\r\nLocation: ftp://127.0.0.1:1/\r\n\r\n");
    if (asks("/icy")) return send_all(fd, "ICY 200 OK\r\nicy-name: radio\r\n\r\nsound");
    if (asks("/bare")) return send_all(fd, "no header at all");
    if (asks("/chunks"))
        return send_all(fd,
                        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                        "3\r\nabc\r\nno size\r\n");
    if (asks("/busy")) return send_all(fd, "HTTP/1.1 503 <\x1b>\r\nContent-Length: 0\r\n\r\n");
    if (asks("/odd")) return send_all(fd, "HTTP/1.1 499 Odd\r\nContent-Length: 0\r\n\r\n");
    if (asks("/stall")) {
        send_all(fd, ok + "100\r\n\r\nabc");
        return wait_for_hang_up(fd);
    }
    send_all(fd, "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone");
}

class ProtocolHttp : public testing::Test {
  protected:
    void SetUp() override {
        setenv("no_proxy", "*", 1);
        if (open_result(local("http", server.port, "/empty")) == -ENOSYS)
            GTEST_SKIP() << "built without libcurl";
    }
    Server server{serve_http};
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
    EXPECT_EQ(open_result(local("http", server.port, "/none")), -ENOENT);
    EXPECT_EQ(open_result("http:///x"), -EINVAL);
    EXPECT_EQ(open_result(local("http", server.port, "/away")), -EPROTONOSUPPORT);
    EXPECT_EQ(open_result(local("http", server.port, "/icy")), -EPROTO);
    EXPECT_EQ(open_result(local("http", server.port, "/bare")), -EPROTO);
    EXPECT_EQ(open_result(local("http", server.port, "/moved")), 0);
    EXPECT_EQ(open_result(local("http", server.port, "/x"), ZVPTC_OPEN_WRITE), -EOPNOTSUPP);
    EXPECT_EQ(open_result(local("http", free_port(SOCK_STREAM))), -ECONNREFUSED);
    EXPECT_STREQ(zvptc_ext_getOpenFailure(), "") << "the errno value says it all";
    Source empty(local("http", server.port, "/empty"));
    ASSERT_EQ(empty.open(), 0);
    EXPECT_EQ(empty.read(1), 0);
}

// A status is no errno value, and a name that is not known is no missing route.
TEST_F(ProtocolHttp, SaysInWordsWhyItDoesNotOpen) {
    const auto words = [this](const std::string& url) {
        open_result(url.starts_with('/') ? local("http", server.port, url) : url);
        return std::string(zvptc_ext_getOpenFailure());
    };
    EXPECT_EQ(words("/none"), "HTTP 404 Not Found");
    EXPECT_EQ(words("/busy"), "HTTP 503 Service Unavailable");
    EXPECT_EQ(words("/odd"), "HTTP 499");
    const std::string unknown = std::string(64, 'x') + "/";  // no server of names need be asked
    EXPECT_NE(words("http://" + unknown).find("esolve host"), std::string::npos);
    EXPECT_EQ(words("/empty"), "") << "of another open";
    for (const char* const scheme : {"tcp://", "udp://"})
        EXPECT_EQ(words(scheme + std::string(64, 'x') + ":5"), gai_strerror(EAI_NONAME));
}

TEST_F(ProtocolHttp, ReportsABodyThatBreaksOffStallsOrIsInterrupted) {
    Source cut(local("http", server.port, "/short"));
    ASSERT_EQ(cut.open(), 0);
    EXPECT_EQ(cut.text(9), "abc");
    EXPECT_EQ(cut.read(9), -ECONNRESET);
    Source damaged(local("http", server.port, "/chunks"));
    ASSERT_EQ(damaged.open(), 0);
    EXPECT_EQ(damaged.text(9), "abc");
    EXPECT_EQ(damaged.read(9), -EBADMSG);
    Source stalled(local("http", server.port, "/stall"), 0, 150);
    ASSERT_EQ(stalled.open(), 0);
    EXPECT_EQ(stalled.text(9), "abc");
    EXPECT_EQ(stalled.read(9), -ETIMEDOUT);
    stalled.close();
    Source interrupted(local("http", server.port, "/stall"), 0, 5000);
    ASSERT_EQ(interrupted.open(), 0);
    const Thread interrupter = interrupt_soon();
    EXPECT_EQ(interrupted.text(9), "abc");
    EXPECT_EQ(interrupted.read(9), -EINTR);
}

}  // namespace
