// SPDX-License-Identifier: MIT
// Many sources in one run: a line of JSON for each as it is done, names from a list that may have no
// end, and one bad source, name, list or signal that costs no other line.
#include <sys/stat.h>

#include <algorithm>
#include <span>
#include <sstream>

#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using nlohmann::json;

class Archive : public ToolTest {
  protected:
    Archive() {
        for (const char* const name : {"single.ts", "h264-aac.flv"})
            std::filesystem::copy(media(name), dir_);
        folder_.put("garbage", "no format has this");
    }

    // What has come through the pipe, once it has so many lines.
    std::vector<json> lines_from(const Pipe& pipe, size_t count) {
        char byte;
        while (std::ranges::count(read_, '\n') < static_cast<long>(count))
            if (!await([&] { return pipe.fill() > 0; }) || read(pipe.read_end, &byte, 1) != 1)
                break;
            else
                read_ += byte;
        return lines_of(read_);
    }

    // Of a text of whole lines, in the order of the sources.
    static std::vector<json> lines_of(const std::string& text) {
        EXPECT_TRUE(text.empty() || text.back() == '\n') << text;
        std::vector<json> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            lines.push_back(json::parse(line));
        std::ranges::sort(lines, {}, [](const json& line) { return line["index"].get<int>(); });
        return lines;
    }

    static std::string sources_of(const std::vector<json>& lines) {
        std::string all;
        for (const json& line : lines)
            all += line["index"].dump() + line["source"].get<std::string>() + ";";
        return all;
    }

    std::string read_;
};

TEST_F(Archive, HasALineForEachSourceWhateverIsWrongWithOthers) {
    const std::string sources = "single.ts missing . h264-aac.flv garbage cut.ts";
    shell("{ head -c 5000 single.ts; tail -c 9000 single.ts; } > cut.ts");
    const json whole = json::parse(shell("zvprobe --json --strict " + sources).out)["sources"];
    for (const char* const jobs : {"1", "4"}) {
        const Outcome outcome =
            shell("zvprobe --json-lines --strict --jobs " + std::string(jobs) + " " + sources);
        EXPECT_EQ(outcome.status, 4);
        std::vector<json> lines = lines_of(outcome.out);
        ASSERT_EQ(lines.size(), whole.size());
        std::string statuses;
        for (size_t i = 0; i < whole.size(); ++i) {
            statuses += lines[i]["status"].dump();
            for (const char* const head : {"schema", "library_version", "index", "status"})
                EXPECT_EQ(lines[i].erase(head), 1u);
            EXPECT_EQ(lines[i], whole[i]);
        }
        EXPECT_EQ(statuses, "033041");
        EXPECT_NE(outcome.err.find("zvprobe: missing: No such file"), std::string::npos);
    }
    EXPECT_EQ(shell("zvprobe --json-lines single.ts missing").status, 3);
    EXPECT_EQ(shell("zvprobe --json-lines --strict cut.ts single.ts").status, 1);
}

TEST_F(Archive, TakesNamesAsTheyStandInTheList) {
    std::vector<json> lines = lines_of(
        shell("printf '\\nsingle.ts\\n\\n -x\\nlast' | zvprobe --json-lines --files-from - garbage")
            .out);
    EXPECT_EQ(sources_of(lines), "0garbage;1single.ts;2 -x;3last;");
    shell("cp single.ts 'two\nlines'; cp single.ts \"$(printf 'no\\377utf')\"");
    lines = lines_of(shell("printf 'two\\nlines\\0no\\377utf\\0single.ts\\0\\0' >list; "
                           "zvprobe --json-lines -0 --files-from list")
                         .out);
    EXPECT_EQ(sources_of(lines), "0two\nlines;1no\uFFFDutf;2single.ts;");
    for (const json& line : lines)
        EXPECT_EQ(line["status"], 0);
    // What reads the list may not be read as a source, and text comes in the order of the list.
    lines = lines_of(shell("printf -- '-\\nsingle.ts' | zvprobe --json-lines --files-from -").out);
    EXPECT_EQ(lines[0]["error"]["message"], "standard input is the list of sources");
    EXPECT_EQ(lines[1]["status"], 0);
    const Outcome text = shell(
        "mkfifo slow; { sleep 0.2; cat single.ts >slow; } & "
        "printf 'slow\\nh264-aac.flv' | zvprobe --jobs 2 --files-from -");
    EXPECT_LT(text.out.find("slow\n"), text.out.find("h264-aac.flv\n"));
    const Outcome empty = shell("zvprobe --json-lines --files-from - </dev/null");
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "");
}

// The first source is a pipe that stays silent, and the list one that stays open.
TEST_F(Archive, TellsASourceOnceItIsNamedAndDone) {
    ASSERT_EQ(mkfifo((dir_ / "slow").c_str(), 0600), 0);
    const Pipe list, out;
    ToolProcess tool(dir_, {"--json-lines", "--jobs", "2", "--files-from", "-"}, list.read_end,
                     out.write_end);
    list.write_all("slow\nsingle.ts\n");
    ASSERT_EQ(sources_of(lines_from(out, 1)), "1single.ts;");
    list.write_all("missing\n");
    EXPECT_EQ(sources_of(lines_from(out, 2)), "1single.ts;2missing;");
    std::ofstream(dir_ / "slow") << "garbage";
    EXPECT_EQ(sources_of(lines_from(out, 3)), "0slow;1single.ts;2missing;");
}

// Its own output is not read here: it waits, and so does the rest of the list.
TEST_F(Archive, HoldsFewNamesAtATime) {
    std::string names;
    for (int i = 0; i < 400'000; ++i)
        names += "no-" + std::to_string(i) + "\n";
    folder_.put("list", names);
    for (const char* const jobs : {"1", "3"}) {
        const Pipe out;
        const int list = open((dir_ / "list").c_str(), O_RDONLY | O_CLOEXEC);
        const ToolProcess tool(dir_, {"--json-lines", "--jobs", jobs, "--files-from", "-"}, list,
                               out.write_end);
        EXPECT_TRUE(await([&] { return out.fill() > 60'000; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_LT(lseek(list, 0, SEEK_CUR), 100'000) << "how far the tool has read";
        close(list);
    }
}

TEST_F(Archive, ASignalEndsItAfterWholeLines) {
    for (const char* const jobs : {"1", "3"}) {
        ASSERT_EQ(mkfifo((dir_ / "slow").c_str(), 0600), 0);
        const Pipe list;
        Pipe out;
        ToolProcess tool(dir_, {"--json-lines", "--jobs", jobs, "--files-from", "-"}, list.read_end,
                         out.write_end);
        list.write_all("single.ts\nslow\nslow\nslow\nleft-out\n");
        ASSERT_EQ(lines_from(out, 1).size(), 1u);
        std::ofstream slow(dir_ / "slow");
        slow << read_file(media("single.ts")) << std::flush;
        tool.send(SIGTERM);
        EXPECT_EQ(tool.wait(), 128 + SIGTERM);
        Pipe::close_end(out.write_end);
        const std::vector<json> lines = lines_of(read_ + out.read_all());
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines[0]["interrupted"], false);
        for (const json& line : std::span(lines).subspan(1))
            EXPECT_TRUE(line["interrupted"] == true && line["source"] == "slow") << line;
        std::filesystem::remove(dir_ / "slow");
        read_.clear();
    }
}

// A terminal whose other side is gone gives what it has, and then an error.
TEST_F(Archive, ANameThatAnErrorOfTheListCutsOffIsNone) {
    const int list = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(list >= 0 && grantpt(list) == 0 && unlockpt(list) == 0);
    const int writer = open(ptsname(list), O_RDWR | O_NOCTTY);
    ASSERT_EQ(write(writer, "single.ts\0garb", 14), 14);
    close(writer);
    Pipe out;
    ToolProcess tool(dir_, {"--json-lines", "-0", "--files-from", "-"}, list, out.write_end);
    EXPECT_EQ(tool.wait(), 3);
    Pipe::close_end(out.write_end);
    EXPECT_EQ(sources_of(lines_of(out.read_all())), "0single.ts;");
    EXPECT_TRUE(tool.has_said("byte 14: the list ends here: Input/output error"));
    close(list);
}

TEST_F(Archive, TellsWhatIsNoList) {
    shell(
        "printf 'single.ts\\nx\\0y\\nsingle.ts\\n' >nul; { echo single.ts; head -c 300000 "
        "/dev/zero | tr '\\0' x; } >long");
    for (const auto& [list, lines, why] :
         {std::tuple("nul", 1u, "byte 14: the list ends here: a name has a NUL in it"),
          std::tuple("long", 1u, "a name is longer than any path"),
          std::tuple(".", 0u, "byte 0: the list ends here: Is a directory"),
          std::tuple("none", 0u, "none: No such file or directory")}) {
        const Outcome outcome = shell(std::string("zvprobe --json-lines --files-from ") + list);
        EXPECT_EQ(outcome.status, 3) << list;
        EXPECT_EQ(lines_of(outcome.out).size(), lines) << list;
        EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
    }
    for (const char* const options :
         {"-0 x", "--json-lines --json x", "--json-lines --html page x", "--files-from - -",
          "--json-lines", "--history x", "--files-from ''"})
        EXPECT_EQ(shell(std::string("zvprobe ") + options).status, 2) << options;
}

// The list stays open, and nothing more comes of it.
TEST_F(Archive, EndsWhenItsLinesCannotBeWritten) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    for (const char* const jobs : {"1", "2"}) {
        const Pipe list;
        ToolProcess tool(dir_, {"--json-lines", "--jobs", jobs, "--files-from", "-"}, list.read_end,
                         full);
        list.write_all("single.ts\n");
        EXPECT_EQ(tool.wait(), 3) << jobs;
        EXPECT_TRUE(tool.has_said("standard output: cannot be written")) << jobs;
    }
    close(full);
}

// 8191 PIDs, between two sources that need little. Below the first limit the tool cannot begin.
TEST_F(Archive, ASourceThatTakesAllMemoryEndsNoOther) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers reserve more than any limit";
#endif
    std::string noise;
    for (unsigned i = 0; i < 16'382; ++i) {
        const unsigned pid = i % 8191;
        noise += {'\x47', static_cast<char>(0x40 | pid >> 8), static_cast<char>(pid & 0xFF),
                  static_cast<char>(0x10 | i / 8191)};
        noise.append(184, '\0');
    }
    folder_.put("noise", noise);
    const json out_of_memory = {{"kind", "read_error"}, {"message", "out of memory"}};
    for (const char* const jobs : {"1", "4"}) {
        bool told = false;
        for (int limit = 23'000; limit < 62'000; limit += limit / 16) {
            const Outcome outcome =
                shell("ulimit -v " + std::to_string(limit) + "; zvprobe --json-lines --jobs " +
                      std::string(jobs) + " h264-aac.flv noise single.ts");
            const std::vector<json> lines = lines_of(outcome.out);
            ASSERT_EQ(lines.size(), 3u) << limit << ' ' << jobs << ' ' << outcome.err;
            int worst = 0;
            for (const json& line : lines) {
                worst = std::max(worst, line["status"].get<int>());
                EXPECT_EQ(line["error"], line["status"] == 0 ? json() : out_of_memory) << limit;
            }
            EXPECT_EQ(outcome.status, worst) << limit;
            told = told || lines[1]["status"] == 3;
        }
        EXPECT_TRUE(told) << jobs;
    }
}

// The names of a folder, and one that only looks like a file of streams.
TEST_F(Archive, RunsByTheExamples) {
    shell(
        "mkdir in; cp single.ts h264-aac.flv garbage in; cp single.ts \"in/it's  one\"; "
        "ls in/* >list");
    const std::string run = "export PATH=\"$(dirname '" ZV_PROBE_BINARY "'):$PATH\"; '" ZV_EXAMPLES;
    const Outcome share = shell(
        "export SLURM_ARRAY_TASK_COUNT=2 SLURM_ARRAY_TASK_MIN=1 SLURM_CPUS_PER_TASK=2; mkdir out; "
        "for i in 1 2; do "
        "SLURM_ARRAY_TASK_ID=$i; export SLURM_ARRAY_TASK_ID; " +
        run + "/slurm.sh' list out; echo $? >>statuses; done; cat out/1.jsonl out/2.jsonl");
    EXPECT_EQ(lines_of(share.out).size(), 4u) << share.err;
    EXPECT_EQ(folder_.get("statuses"), "0\n4\n");
    if (shell("command -v parallel").status != 0) GTEST_SKIP() << "GNU parallel is missing";
    const std::string twice = run + "/parallel.sh' in all.jsonl; ";
    EXPECT_EQ(shell(twice).status, 1);  // one call with something wrong
    EXPECT_EQ(sources_of(lines_of(folder_.get("all.jsonl"))),
              "0in/garbage;1in/h264-aac.flv;2in/it's  one;3in/single.ts;");
    shell(twice);
    EXPECT_EQ(lines_of(folder_.get("all.jsonl")).size(), 4u) << "all was done before";
}

}  // namespace
