// SPDX-License-Identifier: MIT
// `zvprobe pace` from outside: what goes where. When it goes is tool_pacer_test.cpp's, on a clock of
// the test.
#include <cmath>
#include <map>

#include "support/loopback.h"
#include "support/survey_run.h"
#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;

constexpr size_t kDatagram = 7 * 188;
constexpr size_t kHead = 12;

uint32_t number(const std::string& bytes, size_t at, size_t size) {
    uint32_t value = 0;
    for (size_t i = at; i < at + size; ++i)
        value = value << 8 | static_cast<uint8_t>(bytes[i]);
    return value;
}

class Pace : public ToolTest {
  protected:
    // Plays a file to a socket. -> the datagrams
    std::vector<std::string> receive(const std::string& name, const std::string& scheme,
                                     const std::string& options, size_t count) {
        const Loopback loopback;
        const std::string url = scheme + "://127.0.0.1:" + std::to_string(loopback.port);
        std::thread tool(
            [&] { outcome_ = shell("zvprobe pace " + name + options + " --to " + url); });
        std::vector<std::string> datagrams;
        while (datagrams.size() < count) {
            datagrams.push_back(loopback.receive());
            if (datagrams.back().empty()) break;
        }
        tool.join();
        EXPECT_EQ(outcome_.status, 0) << outcome_.err;
        return datagrams;
    }

    // Less than a second of the sample.
    const std::string bytes_ = read_file(media("single.ts")).substr(0, 30 * kDatagram + 188);
    Outcome outcome_;
};

TEST_F(Pace, SendsSevenPacketsADatagram) {
    const auto datagrams = receive(file(bytes_), "udp", "", 31);
    std::string all;
    for (const std::string& datagram : datagrams)
        all += datagram;
    EXPECT_TRUE(all == bytes_);
    EXPECT_EQ(datagrams.front().size(), kDatagram);
    EXPECT_EQ(datagrams.back().size(), 188u);
    EXPECT_NE(outcome_.out.find("211 packets in "), std::string::npos) << outcome_.out;
}

TEST_F(Pace, SendsRtpThatGoesOnOverTheLoop) {
    const auto datagrams = receive(file(bytes_), "rtp", " --loop=2", 61);
    ASSERT_EQ(datagrams.size(), 61u);
    std::vector<uint8_t> payload;
    const std::string& first = datagrams.front();
    uint32_t ticks_before = 0;
    for (size_t i = 0; i < datagrams.size(); ++i) {
        const std::string& head = datagrams[i];
        ASSERT_EQ(head.size(), i < 60 ? kHead + kDatagram : kHead + 2 * 188);
        EXPECT_EQ(number(head, 0, 2), 0x8021u);
        EXPECT_EQ(number(head, 2, 2), (number(first, 2, 2) + i) & 0xFFFF);
        EXPECT_EQ(number(head, 8, 4), number(first, 8, 4));
        const uint32_t ticks = number(head, 4, 4) - number(first, 4, 4);
        EXPECT_GE(ticks, ticks_before) << i;
        EXPECT_LT(ticks - ticks_before, 9000u) << i;  // 100 ms
        ticks_before = ticks;
        payload.insert(payload.end(), head.begin() + kHead, head.end());
    }
    const nlohmann::json survey = survey_of(payload);
    EXPECT_NEAR(survey["clock"]["duration_s"].get<double>(), ticks_before / 90000.0, 0.1);
    for (const char* indicator : {"1.4", "2.3.b"})
        EXPECT_EQ(entry(survey["tr101290"], {{"id", indicator}})["count"], 0) << indicator;
}

TEST_F(Pace, WritesToStandardOutputWithoutTimeCodesOrParity) {
    const std::string plain = bytes_.substr(0, 200 * 188);
    std::string parity;
    for (size_t at = 0; at < plain.size(); at += 188)
        parity += plain.substr(at, 188) + std::string(16, 'p');
    EXPECT_TRUE(shell("zvprobe -q pace " + file(parity)).out == plain);
    EXPECT_TRUE(shell("zvprobe -q pace - < stream").out == plain);
}

TEST_F(Pace, SaysWhatItCannotDo) {
    file(bytes_);
    const std::tuple<std::string, int, std::string> cases[] = {
        {"- --loop < stream", 3, "-: not a file, which can be read again"},
        {"stream --loop=0", 2, "--loop"},
        {"stream --loop=nan", 2, "--loop"},
        {"stream --loop --by pts", 2, "goes by the PCR only"},
        {"stream --to http://127.0.0.1:1", 2, "is no udp://, rtp:// or tcp://"},
        {"none", 3, "No such file"},
        {"stream > /dev/full", 3, "standard output: cannot be written"},
    };
    for (const auto& [line, status, word] : cases) {
        const Outcome outcome = shell("zvprobe pace " + line);
        EXPECT_EQ(outcome.status, status) << line << outcome.err;
        EXPECT_NE(outcome.err.find(word), outcome.err.npos) << line << outcome.err;
    }
}

// Without an end of its own it ends well by a signal; what should have been whole does not.
TEST_F(Pace, IsEndedByASignalAtOnce) {
    file(bytes_ + read_file(media("single.ts")));
    for (const auto& [option, status] : {std::pair("--loop", 0), {"--loop=2", 128 + SIGTERM}}) {
        Pipe out;
        ToolProcess tool(dir_, {"pace", "stream", option}, -1, out.write_end);
        EXPECT_TRUE(await([&] { return out.fill() > 0; })) << option;
        tool.send(SIGTERM);
        EXPECT_EQ(tool.wait(), status) << option;
    }
}

}  // namespace
