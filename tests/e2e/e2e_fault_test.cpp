// SPDX-License-Identifier: MIT
// The tool where the world fails it: no room on the disk, no directory for its log, a signal in the
// middle. It says so, and nothing that is only half of a file has a final name.
#include <sys/stat.h>

#include <set>

#include "support/tool_process.h"
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

// What is copied of a source that has not ended gets no name; with the report so far, and a word.
TEST_F(Fault, ASignalInTheMiddleLeavesNoCopy) {
    file("kept");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"extract", "-", "es"}, {"rtp", "-", "stream"}}) {
        const Pipe in;
        Pipe out;
        ToolProcess tool(dir_, command, in.read_end, out.write_end);
        Pipe::close_end(out.write_end);
        in.write_all(read_file(media("single.ts")));
        EXPECT_TRUE(await([&] { return in.fill() == 0; }));
        tool.send(SIGTERM);
        EXPECT_EQ(out.read_all().empty(), command[0] == "extract");
        EXPECT_EQ(tool.wait(), 128 + SIGTERM) << command[0];
        EXPECT_NE(read_file(dir_ / "stderr").find("-: interrupted, nothing is written"),
                  std::string::npos);
        EXPECT_EQ(names(), Names{"stream"});
        EXPECT_EQ(read_file(dir_ / "stream"), "kept");
    }
}

}  // namespace
