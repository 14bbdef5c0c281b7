// SPDX-License-Identifier: MIT
// `monitor --listen` when things go wrong: sources that stall, end and come back, descriptors that are
// short, a process that is killed, and askers who mean no good.
#include "support/watch_process.h"

namespace {

using namespace zvtest;
using nlohmann::json;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint64_t kGrowthKiB = 64 * 1024;  // sanitizers keep what was freed
#else
constexpr uint64_t kGrowthKiB = 16 * 1024;  // a source lost at each reload: 27 MiB
#endif

// A port of the tool's, and a stream that is sent there piece by piece.
struct Sender : Loopback {
    Sender() { give_port_away(); }
    std::string url() const { return "udp://127.0.0.1:" + std::to_string(port); }
    void send_next(size_t count = 1) {
        for (; count > 0; --count, ++sent)
            send(bytes.substr(sent * kDatagram % (bytes.size() - kDatagram), kDatagram));
    }
    double packets() const { return static_cast<double>(sent * 7); }

    const std::string bytes = read_file(media("single.ts"));
    size_t sent = 0;
};

std::string of(const std::string& metric, const std::string& source) {
    return "zvprobe_" + metric + "{source=\"" + source + "\"}";
}

std::string section(const std::string& name, const std::string& url) {
    return "[" + name + "]\nurl = \"" + url + "\"\n";
}

TEST_F(Watch, SeesSilenceAndReturnAsOneStreamWithAGap) {
    Sender sender;
    start({sender.url()});
    const std::string name = sender.url();
    sender.send_next(20);
    EXPECT_TRUE(shows(of("up", name), 1));
    EXPECT_TRUE(shows(of("up", name), 0));
    EXPECT_TRUE(says("away: no packets come"));
    sender.send_next(20);
    EXPECT_TRUE(shows(of("up", name), 1));
    EXPECT_TRUE(shows(of("ts_packets_total", name), sender.packets()));
    EXPECT_EQ(metrics().at(of("reconnects_total", name)), 0);
    const json report = json::parse(get("/api/sources/" + name))["sources"][0]["mpegts"];
    EXPECT_EQ(report["packets"], sender.packets()) << "one survey saw both parts";
    EXPECT_GT(report["clock"]["duration_s"], 2);
    std::map<std::string, int> counts;
    for (const json& indicator : report["tr101290"])
        counts[indicator["id"]] = indicator["count"].is_null() ? 0 : indicator["count"].get<int>();
    EXPECT_EQ(counts.at("1.4"), 0);
    EXPECT_EQ(counts.at("1.3.a"), 1);
}

// What a source over HTTP may do: end, stall, send garbage, refuse.
TEST_F(Watch, OpensAgainAServerThatEndsAndStallsAndSendsGarbage) {
    // A connection is read piece by piece, and what is not a whole piece when it stalls waits.
    const std::string bytes = read_file(media("single.ts")).substr(0, 200 * kDatagram);
    const auto size = static_cast<double>(bytes.size());
    std::atomic<int> connections{0};
    Server server([&](int fd) {
        char request[2048];
        if (recv(fd, request, sizeof request, 0) <= 0) return;
        const int number = connections++;
        if (number == 2) return send_all(fd, "HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n");
        send_all(fd, "HTTP/1.1 200 OK\r\n\r\n");
        if (number == 1) return send_all(fd, std::string(200'000, 'x'));
        send_all(fd, bytes);
        if (number > 2) wait_for_hang_up(fd);  // it stalls
    });
    setenv("no_proxy", "*", 1);
    const std::string at = "127.0.0.1:" + std::to_string(server.port);
    Sender other;
    start({"http://usEr:sEcret@" + at + "/?key=sEcret", other.url()});
    const std::string name = "http://***@" + at + "/?key=***";
    if (await([&] { return connections > 0 || tool_->has_said("not implemented"); }) &&
        tool_->has_said("not implemented"))
        GTEST_SKIP() << "built without libcurl";
    ASSERT_TRUE(says("tried again")) << get("/api/sources");
    ASSERT_TRUE(shows(of("ts_packets_total", name), 2 * size / 188)) << get("/api/sources");
    EXPECT_TRUE(tool_->has_said("away: HTTP 503 Service Unavailable; tried again in "));
    EXPECT_EQ(metrics().at(of("ts_bytes_total", name)), 2 * size + 200'000);
    EXPECT_EQ(metrics().at(of("reconnects_total", name)), 2) << "what is refused is not open";
    EXPECT_TRUE(shows(of("up", name), 0)) << "the connection stands, and nothing comes";
    other.send_next(10);
    EXPECT_TRUE(shows(of("ts_packets_total", other.url()), other.packets()));
    for (const char* const page : {"/", "/metrics", "/api/sources"}) {
        EXPECT_NE(get(page).find("//***@"), std::string::npos) << page;
        EXPECT_EQ(get(page).find("sEcret"), std::string::npos) << page;
        EXPECT_EQ(get(page).find("usEr"), std::string::npos) << page;
    }
    EXPECT_FALSE(tool_->has_said("sEcret"));
    tool_.reset();  // what the server waits for
}

// What opens and ends is not away for its end, where there was never a stream in it.
TEST_F(Watch, SaysThatThereIsNoTransportStreamInWhatEnds) {
    folder_.put("few.ts", read_file(media("single.ts")).substr(0, size_t{4} * 188));
    static_cast<void>(file(section("flv", media("h264-aac.flv")) +
                           section("mp3", media("mpeg1-layer3.mp3")) + section("few", "few.ts") +
                           section("nothing", "/dev/null")));
    start({"--config", "stream"});
    EXPECT_TRUE(says("flv: away: no transport stream; tried again in "));
    EXPECT_TRUE(says("mp3: away: no transport stream; tried again in "));
    EXPECT_TRUE(says("few: away: the end; tried again in "));
    EXPECT_TRUE(says("nothing: away: no bytes came; tried again in "));
    EXPECT_EQ(metrics().at(of("up", "flv")), 0);
    EXPECT_TRUE(await([&] {
        return json::parse(get("/api/sources"))["sources"][0]["why_away"] ==
                   "no transport stream" &&
               get("/").find("away: no transport stream") != std::string::npos;
    }));
}

// A file or a route is not what is missing.
TEST_F(Watch, SaysWhatAServerAnswersAndThatANameIsNotKnown) {
    Server server([](int fd) {
        char request[2048];
        if (recv(fd, request, sizeof request, 0) <= 0) return;
        send_all(fd, "HTTP/1.1 404 Gone fishing\r\nContent-Length: 0\r\n\r\n");
    });
    setenv("no_proxy", "*", 1);
    const std::string url = "http://127.0.0.1:" + std::to_string(server.port) + "/x";
    const Outcome outcome = shell("zvprobe --json " + url);
    if (outcome.err.find("not implemented") != outcome.err.npos) GTEST_SKIP() << "without libcurl";
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "zvprobe: " + url + ": HTTP 404 Not Found\n");
    EXPECT_EQ(json::parse(outcome.out)["sources"][0]["error"]["message"], "HTTP 404 Not Found");
    const std::string nowhere = "udp://" + std::string(64, 'x') + ":5";
    start({url, nowhere});
    EXPECT_TRUE(says("away: HTTP 404 Not Found; tried again in "));
    EXPECT_TRUE(says("away: Name or service not known; tried again in "));
    const json sources = json::parse(get("/api/sources"))["sources"];
    EXPECT_EQ(sources[0]["why_away"], "HTTP 404 Not Found");
    EXPECT_EQ(sources[1]["why_away"], "Name or service not known");
}

TEST_F(Watch, SaysSoWhenTheKernelGivesLessThanTheBufferAskedFor) {
    if (std::stoull("0" + read_file("/proc/sys/net/core/rmem_max")) >= 1'000'000'000)
        GTEST_SKIP() << "the kernel gives any buffer here";
    Sender sender;
    start({sender.url() + "?rcvbuf=1000000000", "none"});
    EXPECT_TRUE(says("bytes instead of 1000000000 (net.core.rmem_max)"));
}

TEST_F(Watch, ReloadsFiftyTimesWithoutGrowthOrHarmToWhatStays) {
    Sender stays;
    const auto configuration = [&](int round) {
        std::string text;
        for (int i = 0; i < 20; ++i)
            text += section("s" + std::to_string(i + round % 3 * 10),
                            "udp://127.0.0.1:" + std::to_string(free_port(SOCK_DGRAM)));
        text += section("tcp", "tcp://127.0.0.1:1?timeout=" + std::to_string(100 + round));
        return text + section("stays", stays.url());
    };
    static_cast<void>(file(configuration(0)));
    start({"--config", "stream"});
    uint64_t memory = 0;
    size_t open = 0;
    for (int round = 1; round <= 50; ++round) {
        stays.send_next(2);
        reload(configuration(round));
        if (round == 10) memory = status("VmHWM"), open = descriptors();
    }
    // The peaks are compared: what is there at one moment swings by ten MiB.
    EXPECT_LT(status("VmHWM"), memory + kGrowthKiB) << "KiB";
    EXPECT_TRUE(shows(of("ts_packets_total", "stays"), stays.packets()));
    EXPECT_EQ(metrics().at(of("reconnects_total", "stays")), 0);
    const json report = json::parse(get("/api/sources/stays"))["sources"][0]["mpegts"];
    EXPECT_EQ(report["packets"], stays.packets()) << "the survey went on";
    EXPECT_TRUE(await([&] { return descriptors() <= open + 2; })) << descriptors() << " " << open;
    EXPECT_LT(status("Threads"), 100u);
}

TEST_F(Watch, LeavesDescriptorsForQuestionsAndReloads) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer itself needs descriptors to tell an object";
#endif
    std::string text;
    for (int i = 0; i < 60; ++i)
        text += section("s" + std::to_string(i),
                        "udp://127.0.0.1:" + std::to_string(free_port(SOCK_DGRAM)));
    static_cast<void>(file(text));
    start({"--config", "stream"}, 0, 48);
    EXPECT_TRUE(
        says("60 sources, and the limit of file descriptors (ulimit -Hn) leaves room for 24"));
    EXPECT_TRUE(says("s24: away: Too many open files"));
    EXPECT_FALSE(tool_->has_said("s23: away: Too many"));
    {
        std::vector<std::unique_ptr<Connection>> many;  // more than there are descriptors
        for (int i = 0; i < 60; ++i)
            many.push_back(std::make_unique<Connection>(port_));
        const uint64_t before = tool_->counted("syscr");
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_LT(tool_->counted("syscr"), before + 5000) << "no busy loop";
    }
    EXPECT_EQ(get("/healthz"), "ok\n");
    // A connection takes more than a group: room for six where 24 are left.
    text.clear();
    for (int i = 0; i < 8; ++i)
        text += section("t" + std::to_string(i), "tcp://127.0.0.1:1");
    reload(text);
    EXPECT_TRUE(
        says("8 sources, and the limit of file descriptors (ulimit -Hn) leaves room for 6"));
    EXPECT_TRUE(says("t6: away: Too many open files"));
    Sender late;
    reload(section("late", late.url()));
    late.send_next(3);
    EXPECT_TRUE(shows(of("ts_packets_total", "late"), late.packets()));
}

TEST_F(Watch, BeginsFromNothingAfterItWasKilledOnTheSamePort) {
    Sender sender;
    const int port = free_port(SOCK_STREAM);
    start({sender.url()}, port);
    sender.send_next(20);
    EXPECT_TRUE(shows(of("ts_packets_total", sender.url()), sender.packets()));
    const Connection open(port);
    tool_->send(SIGKILL);
    EXPECT_EQ(tool_->wait(), 128 + SIGKILL);
    start({sender.url()}, port);
    EXPECT_EQ(port_, port);
    EXPECT_TRUE(shows(of("ts_packets_total", sender.url()), 0));
    sender.send_next(5);
    EXPECT_TRUE(shows(of("ts_packets_total", sender.url()), 5 * 7));
}

TEST_F(Watch, ServesAThousandConnectionsInTurn) {
    start({"none"});
    const size_t before = descriptors();
    std::vector<std::unique_ptr<Connection>> all;
    for (int i = 0; i < 1000; ++i) {
        all.push_back(std::make_unique<Connection>(port_));
        all.back()->send("GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n");
    }
    for (const auto& connection : all)
        EXPECT_TRUE(connection->receive().ends_with("\r\n\r\nok\n"));
    EXPECT_TRUE(await([&] { return descriptors() <= before; }));
}

TEST_F(Watch, KnowsNoPathButItsOwn) {
    file("secret");
    start({"stream"});
    for (const std::string path : {"/..",
                                   "/../stream",
                                   "/%2e%2e/stream",
                                   "/sources/../stream",
                                   "/sources/%2e%2e%2fstream",
                                   "/sources/stream%00",
                                   "/sources/%00stream",
                                   "/sources/stream%2f",
                                   "/sources//stream",
                                   "/sources/STREAM",
                                   "/api/sources/",
                                   "/api//sources",
                                   "//",
                                   "/sources",
                                   "/sources/stream/",
                                   "/%",
                                   "/%zz",
                                   "/sources/%c0%ae%c0%ae/stream",
                                   "/\xC3\xA9",
                                   "/stream",
                                   "/sources/<script>",
                                   "/sources/a%0d%0aSet-Cookie:%20x"}) {
        const std::string got = ask("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_TRUE(got.starts_with("HTTP/1.1 404 ") || got.starts_with("HTTP/1.1 400 "))
            << path << got;
        EXPECT_EQ(got.find("secret"), got.npos) << path;
        EXPECT_EQ(got.find("Cookie"), got.npos) << path;
    }
    EXPECT_NE(get("/sources/stream?x=/../").find("</html>"), std::string::npos);
    EXPECT_NE(get("/sources/%73tream").find("</html>"), std::string::npos);
}

}  // namespace
