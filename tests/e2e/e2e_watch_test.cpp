// SPDX-License-Identifier: MIT
// `monitor --listen` from outside: what it answers, to whom, and what it bears.
#include "support/watch_process.h"

namespace {

using namespace zvtest;
using nlohmann::json;

bool has_ipv6() {
    const int fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    const bool has = bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0;
    close(fd);
    return has;
}

TEST_F(Watch, TellsInMetricsWhatProbeTellsOfTheSameStream) {
    const std::string name = "three-programs.ts", path = media(name);
    std::string damaged = read_file(path);
    damaged.erase(1000 * 188, 188);
    folder_.put(name, damaged);
    const json known = account(name).at("mpegts");
    file("[a]\nurl = " + name + "\nlabels.site = \"n\"\n");
    start({"--config", "stream"});
    const std::string of = "source=\"a\",site=\"n\"";
    ASSERT_TRUE(shows("zvprobe_ts_packets_total{" + of + "}", known["packets"]));
    ASSERT_TRUE(
        await([&] { return read_file(dir_ / "stderr").find("the end") != std::string::npos; }));
    const std::string text = get("/metrics");
    const auto all = metrics();
    EXPECT_EQ(all.at("zvprobe_ts_bytes_total{" + of + "}"), known["bytes"]);
    for (const json& pid : known["pids"]) {
        char number[8];
        std::snprintf(number, sizeof number, "0x%x", pid["pid"].get<unsigned>());
        const std::string label = "{" + of + ",pid=\"" + number + "\"}";
        EXPECT_EQ(all.at("zvprobe_pid_packets_total" + label), pid["packets"]);
        if (pid["continuity"].is_null()) continue;
        EXPECT_EQ(all.at("zvprobe_continuity_errors_total" + label), pid["continuity"]["errors"]);
        EXPECT_EQ(all.at("zvprobe_packets_lost_total" + label), pid["continuity"]["lost"]);
        const json& pcr = pid["pcr"];
        if (pcr.is_null() || pcr["interval_ms"].is_null()) continue;
        EXPECT_NEAR(all.at("zvprobe_pcr_interval_max_seconds" + label) * 1000,
                    pcr["interval_ms"]["max"], 1e-6);
    }
    for (const json& indicator : known["tr101290"]) {
        if (indicator["measured"] != true) continue;
        const std::string id = indicator["id"];
        EXPECT_EQ(all.at("zvprobe_tr101290_errors_total{" + of + ",priority=\"" + id[0] +
                         "\",indicator=\"" + id + "\"}"),
                  indicator["count"]);
    }
    EXPECT_NE(text.find("zvprobe_service_info{" + of + ",program_number=\"1\",name=\""), text.npos);
    EXPECT_NE(text.find(",use=\"video\",codec=\""), text.npos);
    folder_.put("metrics", text);
    if (shell("command -v promtool").status == 0) {
        const Outcome checked = shell("promtool check metrics < metrics");
        EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
    }
    const json listed = json::parse(get("/api/sources"))["sources"][0];
    EXPECT_EQ(listed["packets"], known["packets"]);
    EXPECT_EQ(listed["labels"]["site"], "n");
    EXPECT_EQ(json::parse(get("/api/sources/a"))["sources"][0]["mpegts"], known);
}

TEST_F(Watch, GoesOnCountingThroughReloadsAndRefusesAWrongFile) {
    Loopback loopback;
    loopback.give_port_away();
    const std::string bytes = read_file(media("single.ts"));
    const std::string url = "url = udp://127.0.0.1:" + std::to_string(loopback.port) + "\n";
    const std::string packets = "zvprobe_ts_packets_total{source=\"a\"}";
    file("[a]\n" + url);
    start({"--config", "stream"});
    for (size_t i = 0; i < 20; ++i)
        loopback.send(bytes.substr(i * kDatagram, kDatagram));
    EXPECT_TRUE(shows(packets, 140));
    EXPECT_EQ(metrics().at("zvprobe_up{source=\"a\"}"), 1);
    const auto reload = [&](const std::string& text, const std::string& says) {
        file(text);
        tool_->send(SIGHUP);
        return await([&] { return read_file(dir_ / "stderr").find(says) != std::string::npos; });
    };
    EXPECT_TRUE(reload("[a]\n" + url + "[b]\nurl = x://y\n", "stream:4: url \"x://y\": unknown"));
    EXPECT_EQ(metrics().at(packets), 140);
    EXPECT_TRUE(reload("[b]\nurl = none\n", "stream: read again"));
    EXPECT_TRUE(shows("zvprobe_up{source=\"b\"}", 0));
    EXPECT_FALSE(metrics().contains(packets));
    EXPECT_TRUE(reload("[a]\n" + url + "[a.limits]\npat = 3\n", "b: away"));
    EXPECT_TRUE(shows(packets, 140));
    for (size_t i = 20; i < 40; ++i)
        loopback.send(bytes.substr(i * kDatagram, kDatagram));
    EXPECT_TRUE(shows(packets, 280));
    tool_->send(SIGTERM);
    EXPECT_EQ(tool_->wait(), 0);
}

// The file is read from its beginning again and again: each survey counts as much as the one before.
TEST_F(Watch, CountsInIntervalsWhatIsOpenedAgain) {
    folder_.put("a.ts", read_file(media("single.ts")));
    const Pipe out;
    ToolProcess tool(dir_, {"monitor", "--json-lines", "--interval", "0.2", "a.ts", "none"}, -1,
                     out.write_end);
    std::string text;
    const auto packets = [&] {
        if (out.fill() > 0) {
            char piece[65536];
            const ssize_t n = read(out.read_end, piece, sizeof piece);
            if (n > 0) text.append(piece, static_cast<size_t>(n));
        }
        uint64_t sum = 0;
        const std::regex count("\"counts\":\\{\"packets\":([0-9]+)");
        for (std::sregex_iterator at(text.begin(), text.end(), count), end; at != end; ++at)
            sum += std::stoull((*at)[1]);
        return sum;
    };
    EXPECT_TRUE(await([&] { return packets() == 2 * 1679; })) << text.substr(0, 2000);
    tool.send(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(Watch, AnswersOnlyWhatItIsAskedFor) {
    start({"--allow-host", "Probe.example", "none"});
    const std::string good = "GET /healthz HTTP/1.1\r\nHost: ";
    for (const auto& [request, answer] : {
             std::pair{good + "localhost\r\n\r\n", "200 .*ok\n"},
             {good + "127.0.0.1:" + std::to_string(port_) + "\r\n\r\n", "200 .*ok\n"},
             {good + "probe.EXAMPLE:80\r\n\r\n", "200 "},
             {std::string("HEAD /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n"),
              "200 .*Content-Length: 3\r\n.*\r\n\r\n$"},
             {good + "evil.example\r\n\r\n", "403 "},
             {good + "localhost.evil.example\r\n\r\n", "403 "},
             {good + "localhost\r\nHost: evil.example\r\n\r\n", "403 "},
             {std::string("GET /healthz HTTP/1.1\r\n\r\n"), "403 "},
             {std::string("GET / HTTP/1.1\r\nHost: [\r\n\r\n"), "403 "},
             {std::string("POST /metrics HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\n"),
              "405 .*Allow: GET, HEAD"},
             {std::string("DELETE /api/sources/none HTTP/1.1\r\nHost: localhost\r\n\r\n"), "405 "},
             {std::string("BREW / HTTP/1.1\r\nHost: localhost\r\n\r\n"), "405 .*Allow: GET, HEAD"},
             {std::string("BR(W / HTTP/1.1\r\nHost: localhost\r\n\r\n"), "400 "},
             // As through a proxy: the host of the target counts.
             {"GET HTTP://127.0.0.1:9/healthz HTTP/1.1\r\nHost: evil.example\r\n\r\n",
              "200 .*ok\n"},
             {"GET http://probe.example/metrics?x HTTP/1.0\r\n\r\n", "200 .*zvprobe_up"},
             {"GET http://localhost HTTP/1.1\r\nHost: localhost\r\n\r\n", "200 .*<h1>Sources"},
             {"GET http://localhost?x HTTP/1.1\r\nHost: localhost\r\n\r\n", "200 .*<h1>Sources"},
             {"GET http://evil.example/healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", "403 "},
             {"GET http://x@evil.example:9/ HTTP/1.0\r\n\r\n", "403 "},
             {"GET http://localhost/healthz HTTP/1.1\r\n\r\n", "403 "},
             {"GET http:///healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", "403 "},
             {std::string("GET /../../etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n"), "404 "},
             {std::string("GET /api/sources/%2e%2e%2fstream HTTP/1.1\r\nHost: localhost\r\n\r\n"),
              "404 "},
             {std::string("GET /api/sources/none HTTP/1.1\r\nHost: localhost\r\n\r\n"),
              "200 .*\"cannot_open\""},
             {"GET /" + std::string(9000, 'a') + " HTTP/1.1\r\nHost: localhost\r\n\r\n", "414 "},
             {"GET /" + std::string(200'000, 'a') + " HTTP/1.1\r\nHost: localhost\r\n\r\n", "414 "},
             {good + "localhost\r\nRange: bytes=0-0,0-0,1-1\r\n\r\n", "20[06] .*ok\n"},
         }) {
        const std::string got = ask(request);
        EXPECT_TRUE(std::regex_search(
            got, std::regex("^HTTP/1.1 " +
                            std::regex_replace(std::string(answer), std::regex("\\."), "[^]"))))
            << request.substr(0, 200) << got.substr(0, 2000);
    }
    // A head without an end is not read for ever.
    std::string flood = good + "localhost\r\n";
    while (flood.size() < 100'000)
        flood += "X: " + std::to_string(flood.size()) + "\r\n";
    EXPECT_FALSE(ask(flood).starts_with("HTTP/1.1 200"));
    EXPECT_EQ(shell("zvprobe monitor --listen nowhere none").status, 2);
    for (const auto& [address, reason] : {
             std::pair{std::to_string(port_), "Address already in use"},
             {std::string("192.0.2.1:0"), "Cannot assign requested address"},
             {std::string(64, 'x') + ":0", "Name or service not known"},
         }) {
        const Outcome outcome = shell("zvprobe monitor --listen " + address + " none 2>&1");
        EXPECT_EQ(outcome.status, 3);
        EXPECT_EQ(outcome.out, "zvprobe: " + address + ": cannot listen there: " + reason + "\n");
    }
    EXPECT_EQ(shell("zvprobe monitor --allow-host x none").status, 2);
    // The port is in use, so that a name that was taken ends with status 3.
    const std::string listen = "zvprobe monitor none --listen " + std::to_string(port_);
    for (const char* const host : {"''", "probe.example:80", "http://probe.example", "'a b'"})
        EXPECT_EQ(shell(listen + " --allow-host " + host).status, 2) << host;
    EXPECT_EQ(shell(listen + " --allow-host ::1 --allow-host [::2]").status, 3);
}

TEST_F(Watch, KnowsTheAddressItListensAtInCapitalsAndOnBothFamilies) {
    address_ = "0X7F.1:";  // 127.0.0.1
    start({"none"});
    EXPECT_TRUE(ask("GET /healthz HTTP/1.1\r\nHost: 0X7F.1\r\n\r\n").starts_with("HTTP/1.1 200"));
    address_ = "[::]:";
    if (!has_ipv6()) GTEST_SKIP() << "no IPv6 here";
    start({"none"});
    EXPECT_TRUE(
        ask("GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n").starts_with("HTTP/1.1 200"));
    EXPECT_TRUE(
        ask("GET /healthz HTTP/1.1\r\nHost: 127.0.0.2\r\n\r\n").starts_with("HTTP/1.1 403"));
}

TEST_F(Watch, ShowsPagesInWhichNamesAreOnlyText) {
    const std::string name = "<b a=\"1\">&c d.ts";
    folder_.put(name, read_file(media("single.ts")));
    folder_.put("s.ts", read_file(media("single.ts")));
    file("[one]\nurl = s.ts\nlabels.x = '<i>'\n");
    start({"--config", "stream", "--interval", "0.2"});
    ASSERT_TRUE(shows("zvprobe_ts_packets_total{source=\"one\",x=\"<i>\"}", 1679));
    const std::string all = get("/");
    EXPECT_NE(all.find("<a href=\"/sources/one\">one</a></td><td>1679</td>"), all.npos) << all;
    EXPECT_NE(all.find("x=&lt;i&gt;"), all.npos) << all;
    const std::string page = get("/sources/one");
    EXPECT_NE(page.find("Colour Bars"), page.npos);
    EXPECT_NE(page.find("\"history\":{"), page.npos);
    EXPECT_NE(page.find("\"json\":\"/api/sources/one\"},\"sources_left_out\""), page.npos);
    EXPECT_EQ(get("/api/sources/one").find("\"history\""), std::string::npos);
    // What the page allows itself, a script and a style of its own, stands in the header, too.
    std::smatch policy;
    ASSERT_TRUE(std::regex_search(page, policy, std::regex("Policy\" content=\"([^\"]+)\"")));
    const std::string head = ask("HEAD /sources/one HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_NE(head.find("\r\nContent-Security-Policy: " + policy[1].str() + "; frame-"), head.npos);
    EXPECT_EQ(head.find("unsafe"), head.npos) << head;
    tool_.reset();
    start({name, "udp://127.0.0.1:" + std::to_string(free_port(SOCK_DGRAM))});
    const std::string link = "%3Cb%20a%3D%221%22%3E%26c%20d%2Ets";
    EXPECT_NE(get("/").find("<a href=\"/sources/" + link + "\">&lt;b a=&quot;1&quot;&gt;&amp;c d"),
              std::string::npos);
    EXPECT_TRUE(
        await([&] { return get("/sources/" + link).find("\"h264\"") != std::string::npos; }));
    EXPECT_EQ(get("/sources/" + link).find("<b a"), std::string::npos);
    EXPECT_NE(get("/sources/" + link).find("\"json\":\"/api/sources/" + link), std::string::npos);
    EXPECT_EQ(get("/sources/other"), "");
}

TEST_F(Watch, SaysFirstHowManySourcesAreAway) {
    start({"none"});
    EXPECT_NE(get("/").find(">1 source, 0 up, 1 away<"), std::string::npos) << get("/");
    Loopback loopback;
    loopback.give_port_away();
    start({"none", "udp://127.0.0.1:" + std::to_string(loopback.port)});
    const std::string datagram = read_file(media("single.ts")).substr(0, kDatagram);
    EXPECT_TRUE(await([&] {
        loopback.send(datagram);
        return get("/").find(">2 sources, 1 up, 1 away<") != std::string::npos;
    }));
    EXPECT_NE(get("/").find("<title>1 away - zvprobe</title>"), std::string::npos);
    // The one script that may run is the page's own.
    const std::string head = ask("HEAD / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::regex policy(
        "Policy: default-src 'none';.* script-src 'sha256-[^']{44}'; connect-src 'self'");
    EXPECT_TRUE(std::regex_search(head, policy)) << head;
}

TEST_F(Watch, AnswersOthersWhileSomeAreSlow) {
    start({"none"});
    std::vector<std::unique_ptr<Connection>> halves;
    for (int i = 0; i < 200; ++i) {
        halves.push_back(std::make_unique<Connection>(port_));
        halves.back()->send("GET /metrics HTTP/1.1\r\nHo");
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(get("/healthz"), "ok\n");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_TRUE(halves.front()->is_open);
    EXPECT_EQ(halves.front()->receive().find("(still open)"), std::string::npos);
}

}  // namespace
