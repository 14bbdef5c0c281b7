// SPDX-License-Identifier: MIT
// The commands beside `probe`, from outside: files they write, datagrams they send and receive.
#include <regex>
#include <sstream>

#include "support/loopback.h"
#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using nlohmann::json;

constexpr size_t kDatagram = 7 * 188;

class Commands : public ToolTest {
  protected:
    json programme(const std::string& path) const {
        return account(path).at("mpegts").at("resolver").at("programs").at(0);
    }

    // -> what comes up to a word, and a little more; or a lot without it
    static std::string read_until(const Pipe& out, const std::string& word) {
        constexpr size_t kALot = 4'000'000;
        std::string all;
        char piece[65536];
        while (all.find(word) == std::string::npos && all.size() < kALot) {
            const ssize_t n = read(out.read_end, piece, sizeof piece);
            if (n <= 0) break;
            all.append(piece, static_cast<size_t>(n));
        }
        return all;
    }

    // The rest of the stream is sent once a report with this word tells of the first 1000 packets.
    std::string reports_of(const std::string& bytes, const std::string& word,
                           std::vector<std::string> options) const {
        constexpr size_t kFirst = 1000 * 188;
        const std::vector<std::string> command = {"monitor", "--interval", "0.1"};
        options.insert(options.begin(), command.begin(), command.end());
        Pipe in, out;
        ToolProcess tool(dir_, options, in.read_end, out.write_end);
        Pipe::close_end(in.read_end);
        Pipe::close_end(out.write_end);
        in.write_all(bytes.substr(0, kFirst));
        std::string reports = read_until(out, word);
        in.write_all(bytes.substr(kFirst));
        Pipe::close_end(in.write_end);
        reports += out.read_all();
        EXPECT_EQ(tool.wait(), 0);
        return reports;
    }
};

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

TEST_F(Commands, BuildMakesTablesThatDescribeAProgramme) {
    const Outcome outcome = shell(
        "(zvprobe build pat --program 258:0x142 - && zvprobe build sdt --service 0x102 --name N -"
        " && zvprobe build pmt --program 258 --pmt 322 --pcr 0x101 --stream 0x1b:0x101 "
        "--stream 3:0x102:0a04656e6701 - && zvprobe build null --count 3 -) > tables");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(programme("tables")["streams"][1]["descriptors"], "0a04656e6701");
    EXPECT_EQ(shell("zvprobe build pat --program 1:0x2000 x").status, 2);
    EXPECT_EQ(shell("zvprobe build sdt --name $(printf %0158d 1) x").status, 2);
    for (const auto& [line, word] : {std::pair("build xyz", "build: \"xyz\" is none of pat, pmt"),
                                     {"build xyz out", "build: \"xyz\" is none of pat, pmt"},
                                     {"build", "build: name one of pat, pmt, sdt, null"}}) {
        const Outcome refused = shell(std::string("zvprobe ") + line);
        EXPECT_EQ(refused.status, 2) << line;
        EXPECT_NE(refused.err.find(word), std::string::npos) << refused.err;
    }
}

TEST_F(Commands, MonitorReadsDatagramsUntilInterrupted) {
    const std::string bytes = read_file(media("single.ts"));
    std::vector<std::string> lossy;
    for (size_t i = 0; i * kDatagram < bytes.size(); ++i)
        if (i != 9 && i != 238)
            lossy.push_back(rtp_datagram(i, bytes.substr(i * kDatagram, kDatagram)));
    // Of the same port, and no part of the stream.
    lossy.insert(lossy.begin() + 50, std::string("\x80\xC8\0\6", 4) + std::string(24, 'x'));
    Loopback loopback;
    loopback.give_port_away();
    std::thread sender([&] {
        loopback.await_tool();
        for (const std::string& datagram : lossy)
            loopback.send(datagram);
    });
    Pipe out;
    ToolProcess tool(dir_,
                     {"monitor", "--json-lines", "--interval", "0.1",
                      "rtp://127.0.0.1:" + std::to_string(loopback.port)},
                     -1, out.write_end);
    Pipe::close_end(out.write_end);
    // Until a report has all of them.
    std::string lines = read_until(out, "\"packets\":1665,");
    tool.send(SIGINT);
    lines += out.read_all();
    EXPECT_EQ(tool.wait(), 0);
    sender.join();
    EXPECT_GE(std::count(lines.begin(), lines.end(), '\n'), 2);
    const json last = json::parse(lines.substr(lines.rfind("\n{")));
    EXPECT_EQ(last["interrupted"], true);
    EXPECT_GT(last["monitor"]["elapsed_ms"], 0);
    EXPECT_EQ(last["mpegts"]["packets"], 1679 - 2 * 7);
    EXPECT_EQ(last["mpegts"]["sync"]["losses"], 0);
    EXPECT_EQ(last["mpegts"]["clock"]["source"], "arrival");
    EXPECT_GT(last["mpegts"]["resolver"]["continuity"]["errors"], 0);
    uint64_t errors = 0;
    for (const json& pid : last["mpegts"]["pids"])
        errors += pid["continuity"]["errors"].get<uint64_t>();
    EXPECT_GT(errors, 0u);
}

TEST_F(Commands, MonitorCountsEachIntervalAndTheWholeWatch) {
    std::string bytes = read_file(media("single.ts"));
    for (const size_t packet : {1500U, 300U, 200U})
        bytes.erase(packet * 188, 188);
    std::istringstream lines(reports_of(bytes, "\"packets\":1000,", {"--json-lines", "-"}));
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
    const std::string text = reports_of(bytes, " 1000 packets", {"-"});
    EXPECT_TRUE(std::regex_search(text, std::regex("what +count  last [0-9.]+ s ")));
    EXPECT_TRUE(std::regex_search(text, std::regex("continuity errors +3 +[01] "))) << text;
    EXPECT_TRUE(std::regex_search(text, std::regex("1.4 Continuity_count_error +3 +[01] ")));
}

}  // namespace
