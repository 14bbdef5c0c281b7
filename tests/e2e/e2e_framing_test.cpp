// SPDX-License-Identifier: MIT
// Where packets start, in streams that made readers disagree: every command finds the same packets
// in them as in the streams without what misleads. (`build` reads no stream.)
#include <map>

#include "support/loopback.h"
#include "support/misleading_streams.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using Json = nlohmann::json;

// -> how many packets each PID has
std::string packets_of(const Json& mpegts) {
    Json all;
    for (const Json& pid : mpegts.at("pids"))
        all.push_back({pid.at("pid"), pid.at("packets")});
    return all.dump();
}

// -> what the first line with a number of packets says
std::string packets_told(const std::string& report) {
    const size_t end = report.find(" packets");
    return end == report.npos ? report : report.substr(report.rfind(' ', end - 1) + 1, 20);
}

class Framing : public ToolTest {
  protected:
    // -> what each command makes of a stream, without time codes
    std::map<std::string, std::string> results(const std::string& stream, size_t packet_size) {
        folder_.put("in.ts", stream);
        std::map<std::string, std::string> all;
        all["probe"] = packets_of(account("in.ts").at("mpegts"));
        const std::string watched = shell("zvprobe monitor --json-lines in.ts | tail -n 1").out;
        all["monitor"] = packets_of(Json::parse(watched).at("mpegts"));
        all["pace"] = shell("zvprobe -q pace in.ts").out;
        all["rtp"] = packets_told(shell("zvprobe rtp in.ts | grep size").out);
        EXPECT_EQ(shell("zvprobe remap in.ts out.ts --program 77").status, 0);
        const std::string remapped = read_file(dir_ / "out.ts");
        for (size_t at = packet_size - 188; at < remapped.size(); at += packet_size)
            all["remap"] += remapped.substr(at, 188);
        EXPECT_EQ(shell("rm -rf es; zvprobe extract in.ts es").status, 0);
        for (const auto& entry : std::filesystem::directory_iterator(dir_ / "es"))
            all[entry.path().filename()] = read_file(entry.path());
        return all;
    }
};

TEST_F(Framing, IsTheSameInEveryCommand) {
    for (const MisleadingStream& stream : misleading_streams()) {
        const auto expected = results(stream.clean, stream.packet_size);
        EXPECT_EQ(account("in.ts").at("mpegts").at("packets"), 160);
        EXPECT_EQ(expected.at("monitor"), expected.at("probe"));
        EXPECT_EQ(expected.at("rtp"), "160 packets\n");
        EXPECT_EQ(expected.at("pace").size(), 160u * 188);
        EXPECT_EQ(expected.at("remap").size(), 160u * 188);
        EXPECT_GE(expected.size(), 7u) << "two streams are extracted";
        EXPECT_TRUE(results(stream.bytes(), stream.packet_size) == expected) << stream.name;
    }
}

TEST_F(Framing, IsTheSameInDatagramsWithAndWithoutRtp) {
    const auto told = [&](const std::vector<std::string>& datagrams, const std::string& scheme) {
        return while_sending(datagrams, [&](const std::string& address) {
            const std::string url = scheme + "://" + address + "?timeout=300";
            return packets_told(shell("zvprobe rtp '" + url + "' | grep size").out);
        });
    };
    for (const MisleadingStream& stream : misleading_streams()) {
        for (const auto& datagrams : {stream.clean_datagrams(), stream.datagrams()}) {
            EXPECT_EQ(told(datagrams, "udp"), "160 packets\n") << stream.name;
            EXPECT_EQ(told(in_rtp(datagrams), "rtp"), "160 packets\n") << stream.name;
        }
    }
}

}  // namespace
