// SPDX-License-Identifier: MIT
// The tool where the world fails it: no room on the disk, no directory for its log, a signal in the
// middle. It says so, and nothing that is only half of a file has a final name.
#include <sys/stat.h>

#include <set>

#include "support/tool_run.h"

namespace {

using namespace zvtest;
using Names = std::set<std::string>;

const std::string kIn = "'" + media("single.ts") + "' ";
const std::string kNewPids = "--program 7 --pmt 0x200 --pcr 0x201 --es 0x201,0x202 ";

class Fault : public ToolTest {
  protected:
    Names names() const {
        Names all;
        for (const auto& entry : std::filesystem::directory_iterator(dir_))
            if (entry.path().filename() != "stderr") all.insert(entry.path().filename());
        return all;
    }
};

TEST_F(Fault, AFullDiskLeavesNoPartOfAFile) {
    file("kept");
    const std::string commands[] = {
        "zvprobe extract " + kIn + "es",
        "zvprobe rtp " + kIn + "stream",
        "zvprobe remap " + kIn + "stream " + kNewPids,
        "zvprobe remap " + kIn + "new " + kNewPids,
    };
    for (const std::string& command : commands) {
        const Outcome outcome = shell("ulimit -f 100; " + command);
        EXPECT_EQ(outcome.status, 3) << command;
        EXPECT_NE(outcome.err.find("cannot be written: File too large"), outcome.err.npos);
        EXPECT_EQ(names(), Names{"stream"}) << command;
        EXPECT_EQ(read_file(dir_ / "stream"), "kept");
    }
    // Full at the very last piece.
    EXPECT_EQ(shell("ulimit -f 610; zvprobe remap " + kIn + "new " + kNewPids).status, 3);
    for (const char* command : {"", "--json "})
        EXPECT_EQ(shell(std::string("zvprobe ") + command + kIn + "> /dev/full").status, 3);
    EXPECT_EQ(shell("zvprobe remap " + kIn + "/dev/full " + kNewPids).status, 3);
    EXPECT_EQ(shell("zvprobe remap " + kIn + "new " + kNewPids).status, 0);  // with room it works
    EXPECT_EQ(names(), (Names{"stream", "new"}));
}

TEST_F(Fault, ALogThatCannotBeWrittenCostsTheLogOnly) {
    std::filesystem::create_symlink("/dev/full", dir_ / "tsMonitor.txt");
    std::filesystem::create_symlink("/dev/full", dir_ / "full");
    const auto expect_same = [&](const std::string& setting, const std::string& command) {
        const auto untimed = [](const std::string& out) {
            return out.substr(0, out.find("  monitored "));
        };
        const std::string expected = untimed(shell("zvprobe " + command).out);
        const Outcome outcome = shell(setting + command);
        EXPECT_EQ(outcome.status, 0) << setting;
        EXPECT_EQ(untimed(outcome.out), expected) << setting;
        EXPECT_NE(expected, "");
    };
    for (const std::string directory : {"$PWD/none/below", "/dev/null/none", "/proc", "$PWD"}) {
        for (const char* command : {"--json ", "monitor "})
            expect_same("export ZVLOG_DIR=\"" + directory + "\"; zvprobe ", command + kIn);
    }
    for (const std::string log : {"none/log", "full", "/dev/null/log"})
        expect_same("zvprobe -v --log " + log + " ", "--json " + kIn);
}

// The source is a pipe that stays open, so the signal comes in the middle of the work.
TEST_F(Fault, ASignalInTheMiddleEndsInOrder) {
    const std::pair<std::string, std::string> commands[] = {
        {"probe --json --strict pipe", "single.ts"},
        {"monitor pipe", "single.ts"},
        {"probe --json --strict pipe", "h264-aac.flv"},
        {"probe --json --strict pipe", "mpeg1-layer2.mp2"},
    };
    for (const auto& [command, source] : commands) {
        const std::string feed =
            "{ cat '" + media(source) + "'; exec sleep 30; } > pipe & feeder=$!; ";
        for (const char* signal : {"INT", "TERM"}) {
            ASSERT_EQ(mkfifo((dir_ / "pipe").c_str(), 0600), 0);
            const Outcome outcome = shell(
                feed + "'" ZV_PROBE_BINARY "' " + command + " > out & tool=$!; sleep 1; kill -" +
                signal + " $tool; wait $tool; status=$?; kill $feeder; cat out; exit $status");
            EXPECT_EQ(outcome.status, 0) << command << outcome.err;
            EXPECT_FALSE(outcome.out.empty()) << command;
            for (const char* name : {"pipe", "out"})
                std::filesystem::remove(dir_ / name);
        }
    }
}

// What is copied of a source that has not ended gets no name; with the report so far, and a word.
TEST_F(Fault, ASignalInTheMiddleLeavesNoCopy) {
    file("kept");
    for (const std::string command : {"extract pipe es", "rtp pipe stream"}) {
        ASSERT_EQ(mkfifo((dir_ / "pipe").c_str(), 0600), 0);
        const Outcome outcome =
            shell("{ cat " + kIn + "; exec sleep 30; } > pipe & feeder=$!; '" ZV_PROBE_BINARY "' " +
                  command +
                  " & tool=$!; sleep 1; kill -TERM $tool; wait $tool; status=$?; "
                  "kill $feeder; exit $status");
        EXPECT_EQ(outcome.status, 3) << command << outcome.err;
        EXPECT_NE(outcome.err.find("pipe: interrupted, nothing is written"), outcome.err.npos);
        EXPECT_NE(outcome.out.find("* packets,skippedBytes,syncLosses:1679,0,0"), outcome.out.npos);
        EXPECT_EQ(names(), (Names{"stream", "pipe"}));
        EXPECT_EQ(read_file(dir_ / "stream"), "kept");
        std::filesystem::remove(dir_ / "pipe");
    }
}

// The signal comes while the tool waits in a write that has no reader.
TEST_F(Fault, ASignalEndsAWriteIntoAFullPipe) {
    ASSERT_EQ(mkfifo((dir_ / "pipe").c_str(), 0600), 0);
    const Outcome outcome =
        shell("exec 3<>pipe; timeout --foreground --preserve-status -s INT -k 5 1 '" ZV_PROBE_BINARY
              "' remap " +
              kIn + "pipe " + kNewPids);
    EXPECT_EQ(outcome.status, 3) << outcome.err;
}

}  // namespace
