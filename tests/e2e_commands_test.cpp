// SPDX-License-Identifier: MIT
// The commands beside `probe`, from outside: files they write, datagrams they send and receive.
#include <map>
#include <regex>
#include <sstream>

#include "support/loopback.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using nlohmann::json;

constexpr size_t kDatagram = 7 * 188;

int byte(const std::string& text, size_t at) {
    return static_cast<uint8_t>(text[at]);
}

class Commands : public ToolTest {
  protected:
    json programme(const std::string& path) const {
        return account(path).at("mpegts").at("resolver").at("programs").at(0);
    }
};

TEST_F(Commands, RtpCopiesPackets) {
    const std::string source = "'" + media("single.ts") + "'";
    EXPECT_EQ(shell("zvprobe rtp - - < " + source + " | cmp - " + source).status, 0);
}

TEST_F(Commands, StandardOutputIsAppendedToWhereTheShellSaysSo) {
    const std::string source = media("single.ts"), bytes = read_file(source);
    for (const std::string name : {"-", "/dev/stdout"}) {
        file("what stood there before\n");
        for (const std::string& command :
             {"rtp '" + source + "' " + name, "build null --count 2 " + name}) {
            const std::string before = read_file(dir_ / "stream");
            EXPECT_EQ(shell("zvprobe " + command + " >> stream").status, 0) << command;
            const std::string after = read_file(dir_ / "stream");
            EXPECT_TRUE(after.starts_with(before)) << command;
            EXPECT_EQ(after.size() - before.size(), command[0] == 'r' ? bytes.size() : 2 * 188);
        }
    }
    const Outcome full = shell("zvprobe rtp '" + source + "' - > /dev/full");
    EXPECT_EQ(full.status, 3);
    EXPECT_NE(full.err.find("-: cannot be written: No space left on device"), full.err.npos);
}

TEST_F(Commands, RtpReplacesAFileOnlyByOneThatHasPackets) {
    const std::pair<std::string, int> sources[] = {
        {"head -c 500000 /dev/zero", 4}, {"printf G", 4}, {"printf ''", 3}};
    for (const auto& [source, status] : sources) {
        file("kept");
        EXPECT_EQ(shell(source + " > in; zvprobe rtp in stream").status, status) << source;
        EXPECT_EQ(shell(source + " | zvprobe rtp - stream").status, status) << source;
        EXPECT_EQ(read_file(dir_ / "stream"), "kept") << source;
        EXPECT_EQ(shell("zvprobe rtp in new; ls").out.find("new"), std::string::npos);
    }
}

TEST_F(Commands, BuildMakesTablesThatDescribeAProgramme) {
    const Outcome outcome = shell(
        "(zvprobe build pat --program 258:0x142 - && zvprobe build sdt --service 0x102 --name N -"
        " && zvprobe build pmt --program 258 --pmt 322 --pcr 0x101 --stream 0x1b:0x101 "
        "--stream 3:0x102:0a04656e6701 - && zvprobe build null --count 3 -) > tables");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(programme("tables")["streams"][1]["descriptors"], "0a04656e6701");
    EXPECT_EQ(shell("zvprobe build pat --program 1:0x2000 x").status, 2);
    EXPECT_EQ(shell("zvprobe build sdt --name $(printf %0158d 1) x").status, 2);
}

TEST_F(Commands, MonitorAndRtpReadDatagramsUntilInterrupted) {
    const std::string bytes = read_file(media("single.ts"));
    std::string arrived;
    std::vector<std::string> plain, lossy;
    for (size_t i = 0; i * kDatagram < bytes.size(); ++i) {
        plain.push_back(bytes.substr(i * kDatagram, kDatagram));
        if (i == 9 || i == 238) continue;  // the last one waits for its predecessor
        arrived += plain.back();
        lossy.push_back(rtp_datagram(i, plain.back()));
    }
    const auto run = [&](const std::string& command, const std::vector<std::string>& datagrams,
                         const std::string& rest) {
        Loopback loopback;
        loopback.give_port_away();
        std::thread sender([&] {
            loopback.await_tool();
            for (const std::string& datagram : datagrams)
                loopback.send(datagram);
        });
        const Outcome outcome =
            shell("timeout --foreground --preserve-status -s INT 2 '" ZV_PROBE_BINARY "' " +
                  command + "://127.0.0.1:" + std::to_string(loopback.port) + rest);
        sender.join();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    };
    const std::string lines = run("monitor --json-lines --interval 0.2 rtp", lossy, "");
    EXPECT_GE(std::count(lines.begin(), lines.end(), '\n'), 7);
    const json last = json::parse(lines.substr(lines.rfind("\n{")));
    EXPECT_EQ(last["interrupted"], true);
    EXPECT_GT(last["monitor"]["elapsed_ms"], 1000);
    EXPECT_EQ(last["mpegts"]["packets"], 1679 - 2 * 7);
    EXPECT_EQ(last["mpegts"]["sync"]["losses"], 0);
    EXPECT_EQ(last["mpegts"]["clock"]["source"], "arrival");
    EXPECT_GT(last["mpegts"]["resolver"]["continuity"]["errors"], 0);
    uint64_t errors = 0;
    for (const json& pid : last["mpegts"]["pids"])
        errors += pid["continuity"]["errors"].get<uint64_t>();
    EXPECT_GT(errors, 0u);

    const std::string counts = "packets,lost,repeated,reordered,late,bad:";
    std::string out = run("rtp udp", plain, " new");
    EXPECT_NE(out.find(counts + "0,0,0,0,0,0\n"), std::string::npos) << out;
    EXPECT_TRUE(read_file(dir_ / "new") == bytes);
    std::swap(lossy[20], lossy[21]);
    lossy.insert(lossy.begin() + 30, lossy[29]);
    lossy.insert(lossy.begin() + 40, "no RTP");
    out = run("rtp rtp", lossy, " new");
    EXPECT_NE(out.find(counts + "239,2,1,1,0,1\n"), std::string::npos) << out;
    EXPECT_TRUE(read_file(dir_ / "new") == arrived);
}

TEST_F(Commands, MonitorCountsEachIntervalAndTheWholeWatch) {
    std::string bytes = read_file(media("single.ts"));
    for (const size_t packet : {1500U, 300U, 200U})
        bytes.erase(packet * 188, 188);
    const std::string command = "(head -c 188000 " + file(bytes) +
                                "; sleep 0.8; tail -c +188001 stream) | zvprobe monitor "
                                "--interval 0.4 ";
    std::istringstream lines(shell(command + "--json-lines -").out);
    uint64_t packets = 0, errors = 0, reports = 0;
    json last;
    for (std::string line; std::getline(lines, line); ++reports) {
        last = json::parse(line);
        const json& counts = last["monitor"]["counts"];
        packets += counts["packets"].get<uint64_t>();
        errors += counts["continuity_errors"].get<uint64_t>();
        EXPECT_EQ(counts["indicators"]["1.4"], counts["continuity_errors"]);
    }
    EXPECT_GE(reports, 2u);
    EXPECT_EQ(packets, last["mpegts"]["packets"]);
    EXPECT_EQ(errors, 3u);
    EXPECT_LT(last["monitor"]["counts"]["continuity_errors"], 3);
    const std::string text = shell(command + "-").out;
    EXPECT_TRUE(std::regex_search(text, std::regex("what +count  last 0\\.[0-9] s ")));
    EXPECT_TRUE(std::regex_search(text, std::regex("continuity errors +3 +[01] "))) << text;
    EXPECT_TRUE(std::regex_search(text, std::regex("1.4 Continuity_count_error +3 +[01] ")));
}

TEST_F(Commands, PaceSendsAStreamAsFastAsItsClock) {
    const std::string bytes = read_file(media("single.ts")).substr(0, 120 * kDatagram);
    const Loopback loopback;
    const std::string url = "udp://127.0.0.1:" + std::to_string(loopback.port);
    Outcome outcome;
    std::thread tool([&] { outcome = shell("zvprobe pace " + file(bytes) + " --to " + url); });
    std::string all;
    std::map<double, std::chrono::steady_clock::time_point> arrivals;  // by PCR, in seconds
    for (std::string got; all.size() < bytes.size() && !(got = loopback.receive()).empty();) {
        EXPECT_EQ(got.size(), kDatagram);
        for (size_t at = 0; at < got.size(); at += 188) {
            if ((byte(got, at + 3) & 0x20) == 0 || (byte(got, at + 5) & 0x10) == 0) continue;
            double pcr = 0;
            for (size_t i = 6; i < 10; ++i)
                pcr = pcr * 256 + byte(got, at + i);
            arrivals[pcr / 45000] = std::chrono::steady_clock::now();
        }
        all += got;
    }
    tool.join();
    EXPECT_EQ(all, bytes);
    ASSERT_GT(arrivals.size(), 10u);
    const double meant = arrivals.rbegin()->first - arrivals.begin()->first;
    const std::chrono::duration<double> took = arrivals.rbegin()->second - arrivals.begin()->second;
    EXPECT_GT(meant, 2.5);
    EXPECT_NEAR(took.count(), meant, 0.01 * meant);
    EXPECT_NE(outcome.out.find("840 packets in "), std::string::npos) << outcome.out;
}

}  // namespace
