// SPDX-License-Identifier: MIT
// The commands beside `probe`, from outside: files they write, datagrams they send and receive.
#include <map>
#include <regex>
#include <sstream>

#include "support/loopback.h"
#include "support/tool_run.h"
#include "ts/rs_parity.h"

namespace {

using namespace zvtest;
using nlohmann::json;

constexpr size_t kDatagram = 7 * 188;

int byte(const std::string& text, size_t at) {
    return static_cast<uint8_t>(text[at]);
}

// By PID: counter and payload of every packet that has a payload. One without repeats the counter.
std::map<int, std::string> streams(const std::string& path, size_t size = 188, size_t before = 0) {
    const std::string bytes = read_file(path);
    std::map<int, std::string> found;
    std::map<int, int> counters;
    for (size_t at = before; at + 188 <= bytes.size(); at += size) {
        const std::string packet = bytes.substr(at, 188);
        const int control = byte(packet, 3);
        const int pid = (byte(packet, 1) & 0x1F) << 8 | byte(packet, 2);
        int& counter = counters.try_emplace(pid, control & 15).first->second;
        const int before_it = std::exchange(counter, control & 15);
        if ((control & 0x10) == 0) {
            EXPECT_EQ(control & 15, before_it) << path << " " << pid;
            continue;
        }
        const size_t head = control & 0x20 ? 5u + static_cast<size_t>(byte(packet, 4)) : 4;
        found[pid] += static_cast<char>(control & 15) + packet.substr(head);
    }
    return found;
}

class Commands : public ToolTest {
  protected:
    json programme(const std::string& path) const {
        return account(path).at("mpegts").at("resolver").at("programs").at(0);
    }
};

TEST_F(Commands, RemapChangesIdentifiersAndNothingElseOfTheStreams) {
    struct Sample {
        const char* name;
        size_t size, before;
        int video, audio;
    };
    for (const auto& [name, size, before, video, audio] :
         {Sample{"single.ts", 188, 0, 256, 257}, Sample{"single-192.m2ts", 192, 4, 0x1011, 0x1100},
          Sample{"single-204.ts", 204, 0, 256, 257}}) {
        // The new PIDs lack high bits that the old ones have, and have others.
        const Outcome outcome = shell("zvprobe remap '" + media(name) +
                                      "' new --program 0x1234 "
                                      "--pmt 256 --pcr 0x0EEF --es 0x0EEF,4095 && "
                                      "zvprobe --strict new");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        json expected = programme(media(name));
        expected["program_number"] = 0x1234;
        expected["pmt_pid"] = 256;
        expected["pcr_pid"] = expected["streams"][0]["pid"] = 0x0EEF;
        expected["streams"][1]["pid"] = 4095;
        EXPECT_EQ(programme("new"), expected);
        auto was = streams(media(name), size, before);
        auto is = streams(dir_ / "new", size, before);
        EXPECT_EQ(is[0x0EEF], was[video]) << name;
        EXPECT_EQ(is[4095], was[audio]) << name;
        EXPECT_EQ(is.count(audio), 0u);
        for (const int table : {0, 17, 256})
            EXPECT_EQ(is[table][185], 1) << "second packet";
    }
}

TEST_F(Commands, RemapMovesTheClockToAPidOfItsOwnAndIntoAStream) {
    const auto was = streams(media("single.ts"));
    std::string in = media("single.ts");
    for (const std::string pcr : {"0x300", "0x201", "0x200"}) {
        const Outcome outcome = shell("zvprobe remap '" + in + "' " + pcr +
                                      " --program 1 --pmt 99 "
                                      "--es 0x200,0x201 --pcr " +
                                      pcr + " && zvprobe --strict " + pcr);
        EXPECT_EQ(outcome.status, 0) << outcome.err << outcome.out;
        EXPECT_EQ(outcome.out.find("PMT does not name"), std::string::npos) << outcome.out;
        auto is = streams(dir_ / pcr);
        EXPECT_EQ(is[0x200], was.at(256)) << pcr;
        EXPECT_EQ(is[0x201], was.at(257)) << pcr;
        in = pcr;
    }
}

TEST_F(Commands, RemapTakesOneProgrammeOfSeveralAndRefusesWhatCannotBe) {
    const std::string in = "'" + media("three-programs.ts") + "'";
    const std::string good = " --program 7 --pmt 99 --pcr 512 --es 512,256";
    EXPECT_EQ(shell("zvprobe remap --from 2 " + in + " new" + good).status, 0);
    EXPECT_EQ(programme("new")["service"]["name"], "Film");
    EXPECT_EQ(streams(dir_ / "new").size(), 6u);  // three tables, two streams, null packets
    for (const std::string& line :
         {in + " bad" + good, "new bad --from 2" + good,
          std::string("new bad --program 7 --pmt 9 --pcr 512 --es 512,256"),
          std::string("new bad --program 7 --pmt 512 --pcr 512 --es 512,256"),
          std::string("new bad --program 7 --pmt 99 --pcr 0x11 --es 512,256"),
          std::string("new bad --program 7 --pmt 99 --pcr 512 --es 512")}) {
        EXPECT_EQ(shell("zvprobe remap " + line).status, 2) << line;
    }
    EXPECT_FALSE(std::filesystem::exists(dir_ / "bad"));
}

TEST_F(Commands, RemapRenewsTheParityOfChangedPackets) {
    std::string bytes = read_file(media("single-204.ts"));
    for (size_t at = 0; at < bytes.size(); at += 204) {
        const auto* packet = reinterpret_cast<const uint8_t*>(bytes.data() + at);
        const auto parity = zvprobe::rs_parity(std::span<const uint8_t, 188>(packet, 188));
        bytes.replace(at + 188, 16, reinterpret_cast<const char*>(parity.data()), 16);
    }
    shell("zvprobe remap " + file(bytes) + " new --program 7 --pmt 99 --pcr 98 --es 98,97");
    const std::string now = read_file(dir_ / "new");
    ASSERT_EQ(now.size(), bytes.size());
    // A code word is 0 at 2^0..2^15 (ETSI EN 300 421); x^8 = x^4 + x^3 + x^2 + 1.
    for (size_t at = 0; at < now.size(); at += 204 * 50) {
        for (int root = 0; root < 16; ++root) {
            int value = 0;
            for (size_t i = 0; i < 204; value ^= byte(now, at + i++))
                for (int k = 0; k < root; ++k)
                    value = value << 1 ^ (value & 0x80 ? 0x11D : 0);
            EXPECT_EQ(value, 0) << at << " " << root;
        }
    }
}

TEST_F(Commands, ExtractAndRtpLeaveWholeFilesOrNone) {
    const std::string source = "'" + media("single.ts") + "'";
    const Outcome good = shell("zvprobe extract " + source + " es");
    EXPECT_NE(good.out.find("es/1_0x101_aac.es: 50435 bytes"), std::string::npos) << good.out;
    EXPECT_NE(good.out.find("* packets,skippedBytes,syncLosses:1679,0,0"), std::string::npos);
    EXPECT_EQ(shell("zvprobe rtp - - < " + source + " | cmp - " + source).status, 0);
    EXPECT_EQ(shell("zvprobe extract '" + media("h264-aac.flv") + "' part").status, 4);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "part"));
}

TEST_F(Commands, ExtractWritesWhatALinkLeadsTo) {
    const Outcome outcome = shell(
        "mkdir es && echo old > other && ln -s ../other "
        "es/1_0x101_aac.es && zvprobe extract '" +
        media("single.ts") + "' es && test -L es/1_0x101_aac.es");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(read_file(dir_ / "other").size(), 50435u);
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
