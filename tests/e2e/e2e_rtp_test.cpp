// SPDX-License-Identifier: MIT
// `zvprobe rtp` from outside: datagrams over the loopback interface, files, signals. What becomes of
// single datagrams is tool_rtp_test.cpp's.
#include "support/loopback.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;

constexpr size_t kDatagram = 7 * 188;

class Rtp : public ToolTest {
  protected:
    // Runs the tool on a URL, and sends when it listens. `%` in the command is the URL.
    Outcome receive(std::string command, const std::vector<std::string>& datagrams) const {
        return while_sending(datagrams, [&](const std::string& address) {
            return shell(command.replace(command.find('%'), 1, address));
        });
    }

    static std::vector<std::string> pieces(const std::string& bytes) {
        std::vector<std::string> all;
        for (size_t at = 0; at < bytes.size(); at += kDatagram)
            all.push_back(bytes.substr(at, kDatagram));
        return all;
    }

    const std::string bytes_ = read_file(media("single.ts"));
};

TEST_F(Rtp, PutsDatagramsInOrderAndTellsWhatWasLost) {
    std::vector<std::string> datagrams;
    std::string arrived;
    const auto all = pieces(bytes_);
    for (size_t i = 0; i < all.size(); ++i) {
        if (i == 9 || i == 238) continue;  // the last one waits for its predecessor
        arrived += all[i];
        datagrams.push_back(rtp_datagram(i, all[i]));
    }
    std::swap(datagrams[20], datagrams[21]);
    datagrams.insert(datagrams.begin() + 30, datagrams[29]);
    datagrams.insert(datagrams.begin() + 40, "no RTP");
    datagrams.insert(datagrams.begin() + 50, std::string("\x80\xC8\0\6", 4) + std::string(24, 'x'));
    // Silence ends it.
    const Outcome outcome = receive("zvprobe rtp 'rtp://%?timeout=300' new", datagrams);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    for (const char* line :
         {"239 packets of type 33, 2 lost, 0 late, 1 repeated, 1 reordered\n",
          "0 changes of SSRC, 0 restarts of the sequence, 0 not of whole",
          "left out: 1 of RTCP, 0 of other payload types, 1 of no RTP\n", "H.264 High@1.3"})
        EXPECT_NE(outcome.out.find(line), std::string::npos) << line << outcome.out;
    EXPECT_TRUE(read_file(dir_ / "new") == arrived);
}

TEST_F(Rtp, IsEndedByASignalAndKeepsWhatCame) {
    // The signal comes when the tool has read something: the events of -v tell.
    const Outcome outcome = receive("'" ZV_PROBE_BINARY
                                    "' -v rtp 'udp://%' new 2>events & "
                                    "until grep -qs PMT events; do sleep 0.05; done; "
                                    "kill -INT $!; wait $!",
                                    pieces(bytes_));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("none: datagrams of packets"), std::string::npos) << outcome.out;
    const std::string kept = read_file(dir_ / "new");
    EXPECT_GT(kept.size(), kDatagram);
    EXPECT_TRUE(bytes_.starts_with(kept));
}

TEST_F(Rtp, CopiesWhatHasNoRtp) {
    EXPECT_TRUE(shell("zvprobe rtp - - < '" + media("single.ts") + "'").out == bytes_);
    EXPECT_TRUE(shell("zvprobe rtp '" + media("single-192.m2ts") + "' new").err.empty());
    EXPECT_TRUE(read_file(dir_ / "new") == read_file(media("single-192.m2ts")));
}

TEST_F(Rtp, ReplacesAFileOnlyByOneThatHasPackets) {
    for (const std::string source : {"head -c 500000 /dev/zero", "printf G", "printf ''"}) {
        file("kept");
        EXPECT_EQ(shell(source + " > in; zvprobe rtp in stream").status, 4) << source;
        const Outcome piped = shell(source + " | zvprobe rtp - stream");
        EXPECT_EQ(piped.status, 4) << source;
        EXPECT_NE(piped.err.find("-: not a transport stream"), piped.err.npos) << piped.err;
        EXPECT_EQ(read_file(dir_ / "stream"), "kept") << source;
        EXPECT_EQ(shell("zvprobe rtp in new; ls").out.find("new"), std::string::npos);
        EXPECT_EQ(shell("zvprobe rtp in -").out, "") << "garbage is not copied";
    }
    EXPECT_EQ(receive("zvprobe rtp 'rtp://%?timeout=300' stream", {"no RTP", "none"}).status, 4);
    EXPECT_EQ(receive("zvprobe rtp 'rtp://%?timeout=100' stream", {}).status, 3) << "nothing came";
    EXPECT_EQ(read_file(dir_ / "stream"), "kept");
}

TEST_F(Rtp, RefusesAWindowThatIsNone) {
    for (const char* option : {"--reorder-packets 1025", "--reorder-packets -1", "--reorder-ms nan",
                               "--reorder-ms 10001", "--reorder-ms ''"})
        EXPECT_EQ(shell(std::string("zvprobe rtp x ") + option).status, 2) << option;
}

}  // namespace
