// SPDX-License-Identifier: MIT
// What every command promises of its input and output, whatever happens to them: a file that is
// written is old or complete, a signal is heard wherever it comes, nothing else is left, and what
// went wrong is said.
#include <atomic>
#include <chrono>
#include <thread>

#include "support/loopback.h"
#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using Arguments = std::vector<std::string>;

const Arguments kNewPids = {"--program", "7",     "--pmt", "0x200",
                            "--pcr",     "0x201", "--es",  "0x201,0x202"};
const std::string kRemap = "--program 7 --pmt 0x200 --pcr 0x201 --es 0x201,0x202 ";

Arguments remap(const std::string& in, const std::string& out) {
    Arguments all = {"remap", in, out};
    all.insert(all.end(), kNewPids.begin(), kNewPids.end());
    return all;
}

// Sanitizers make each start of the tool many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kSignals = 20;
#else
constexpr int kSignals = 100;
#endif

class Writing : public ToolTest {
  protected:
    Writing() {
        std::string ts, mp2, flv = read_file(media("h264-aac.flv"));
        const std::string tags = flv.substr(13);
        while (ts.size() < 4'000'000)
            ts += read_file(media("single.ts"));
        while (flv.size() < 4'000'000)
            flv += tags;
        while (mp2.size() < 4'000'000)
            mp2 += read_file(media("mpeg1-layer2.mp2"));
        in_.put("in.mp2", mp2);
        in_.put("in.ts", ts);
        in_.put("in.flv", flv);
    }

    // What writes files, each into a directory of its own.
    std::vector<Arguments> commands() const {
        return {remap(ts_, "out"),
                {"flv-meta", flv_, "out"},
                {"build", "null", "--count", "100000", "out"},
                {"extract", ts_, "."},
                {"mp3-fix", mp2_, "out"},
                {"rtp", ts_, "out"}};
    }

    // The directory's files but for the tool's diagnostics.
    std::map<std::string, std::string> files() const {
        auto all = folder_.files();
        all.erase("stderr");
        return all;
    }

    void empty() const {
        for (const auto& entry : std::filesystem::directory_iterator(dir_))
            std::filesystem::remove_all(entry.path());
    }

    const Folder in_;
    const std::string ts_ = in_ / "in.ts";
    const std::string flv_ = in_ / "in.flv";
    const std::string mp2_ = in_ / "in.mp2";
};

// ZV_SIGNALS: how many a command; the more, the more moments are met.
TEST_F(Writing, ASignalAtAnyTimeLeavesOldFilesOrCompleteOnes) {
    const char* const asked = std::getenv("ZV_SIGNALS");
    const int count = asked == nullptr ? kSignals : std::atoi(asked);
    for (const Arguments& command : commands()) {
        empty();
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_EQ(ToolProcess(dir_, command).wait(), 0) << command[0];
        const auto time = std::chrono::steady_clock::now() - begin;
        const auto complete = files();
        std::map<std::string, std::string> old;
        for (const auto& [name, bytes] : complete)
            old[name] = "old";
        for (int i = 0; i < count; ++i) {
            const int signal =
                std::array{SIGINT, SIGTERM, SIGHUP, SIGPIPE}[static_cast<size_t>(i) % 4];
            for (const auto& [name, bytes] : old)
                folder_.put(name, bytes);
            ToolProcess tool(dir_, command);
            std::this_thread::sleep_for(time * i / count);
            tool.send(signal);
            if (i % 3 == 0) tool.send(signal);
            const int status = tool.wait();
            const std::string what = command[0] + ", signal " + std::to_string(signal);
            EXPECT_TRUE(status == 0 || status == 128 + signal) << what << ": " << status;
            EXPECT_TRUE(files() == (status == 0 ? complete : old) || files() == complete) << what;
            // One that comes before the tool is ready for signals ends it without a word.
            const std::string said = read_file(dir_ / "stderr");
            EXPECT_TRUE(said.empty() || said.find("interrupted") != std::string::npos) << said;
            if (HasFailure()) return;
        }
    }
}

// The tool is fed as fast as it reads, so it never waits.
TEST_F(Writing, OneSignalIsEnoughWhileASourceNeverStops) {
    const std::string bytes = read_file(ts_);
    const std::pair<Arguments, int> commands[] = {{{"-"}, 0},
                                                  {{"monitor", "-"}, 0},
                                                  {{"rtp", "-", "out"}, 128 + SIGTERM},
                                                  {{"extract", "-", "es"}, 128 + SIGTERM}};
    for (const auto& [command, status] : commands) {
        Pipe in;
        ToolProcess tool(dir_, command, in.read_end);
        Pipe::close_end(in.read_end);
        signal(SIGPIPE, SIG_IGN);
        std::thread feeder([&] {
            for (int i = 0; i < 10'000 && write(in.write_end, bytes.data(), 65536) > 0; ++i) {
            }
        });
        EXPECT_TRUE(await([&] { return tool.counted("rchar") > 1'000'000; }));
        tool.send(SIGTERM);
        EXPECT_EQ(tool.wait(), status) << command[0];
        feeder.join();
        EXPECT_TRUE(files().empty()) << command[0];
    }
}

// A flood of datagrams ends as their recording does: what came is kept.
TEST_F(Writing, OneSignalIsEnoughUnderAFloodOfDatagrams) {
    const std::string bytes = read_file(media("single.ts"));
    for (const Arguments& names : {Arguments{"rtp", "out"}, {"extract", "."}}) {
        Loopback loopback;
        loopback.give_port_away();
        const std::string url = "udp://127.0.0.1:" + std::to_string(loopback.port);
        ToolProcess tool(dir_, {"-v", names[0], url, names[1]});
        loopback.await_tool();
        std::atomic<bool> flows = true;
        std::thread sender([&] {
            for (size_t at = 0; flows; at = (at + 7 * 188) % (bytes.size() - 7 * 188))
                loopback.send_at_once(bytes.substr(at, 7 * 188));
        });
        EXPECT_TRUE(await([&] { return tool.has_said("Continuity"); })) << "in the second round";
        tool.send(SIGTERM);
        EXPECT_EQ(tool.wait(), 0) << names[0];
        flows = false;
        sender.join();
        EXPECT_FALSE(files().empty()) << names[0];
        for (const auto& [name, content] : files())
            EXPECT_FALSE(name.starts_with(".")) << name;
        empty();
    }
}

// Nor does a device that takes everything.
TEST_F(Writing, OneSignalIsEnoughWhileAnOutputNeverWaits) {
    ToolProcess tool(dir_, {"build", "null", "--count", "4294967295", "/dev/null"});
    EXPECT_TRUE(await([&] { return tool.counted("wchar") > 1'000'000; }));
    tool.send(SIGHUP);
    EXPECT_EQ(tool.wait(), 128 + SIGHUP);
}

// In the moment between a look for signals and the wait for input a signal must not get lost.
TEST_F(Writing, OneSignalIsEnoughWhileASourceIsSilent) {
    for (const Arguments& command : {Arguments{"probe", "-"},
                                     {"monitor", "-"},
                                     {"pace", "-"},
                                     {"rtp", "-", "out"},
                                     {"extract", "-", "es"}}) {
        for (int i = 0; i < 15; ++i) {
            const Pipe in;
            ToolProcess tool(dir_, command, in.read_end);
            std::this_thread::sleep_for(std::chrono::microseconds(400 * i));
            tool.send(SIGTERM);
            EXPECT_NE(tool.wait(), -1) << command[0] << " " << i;
            EXPECT_TRUE(files().empty()) << command[0] << " " << i;
        }
    }
}

TEST_F(Writing, ASignalInTheMiddleOfASourceEndsInOrder) {
    const std::pair<Arguments, const char*> commands[] = {
        {{"probe", "--json", "--strict", "-"}, "single.ts"},
        {{"monitor", "-"}, "single.ts"},
        {{"probe", "--json", "--strict", "-"}, "h264-aac.flv"},
        {{"probe", "--json", "--strict", "-"}, "mpeg1-layer2.mp2"},
    };
    for (const auto& [command, source] : commands) {
        const std::string bytes = read_file(media(source));
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            const Pipe in;
            Pipe out;
            ToolProcess tool(dir_, command, in.read_end, out.write_end);
            Pipe::close_end(out.write_end);
            in.write_all(bytes.substr(0, bytes.size() - 50));  // the last unit is cut off
            EXPECT_TRUE(await([&] { return in.fill() == 0; }));
            tool.send(signal);
            EXPECT_NE(out.read_all(), "") << command[0] << source;
            EXPECT_EQ(tool.wait(), 0) << command[0] << source;
        }
    }
}

// ThreadSanitizer keeps a signal back that comes just before a system call, which may wait for ever.
void let_it_wait() {
#ifdef __SANITIZE_THREAD__
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
#endif
}

TEST_F(Writing, ASignalEndsAWriteThatNobodyTakes) {
    for (const Arguments& command : {remap(ts_, "-"),
                                     {"flv-meta", flv_, "-"},
                                     {"mp3-fix", mp2_, "-"},
                                     {"rtp", ts_, "-"},
                                     {"build", "null", "--count", "20000000", "-"}}) {
        for (const int flags : {0, O_NONBLOCK}) {
            const Pipe out;
            fcntl(out.write_end, F_SETFL, flags);
            ToolProcess tool(dir_, command, -1, out.write_end);
            EXPECT_TRUE(await([&] { return out.fill() >= 65536; })) << command[0];
            let_it_wait();
            tool.send(SIGINT);
            EXPECT_EQ(tool.wait(), 128 + SIGINT) << command[0];
            EXPECT_NE(read_file(dir_ / "stderr").find(": interrupted"), std::string::npos);
        }
    }
}

// Of a report the reader has what it wanted; of a copy it may not know that more was to come.
TEST_F(Writing, ACopyThatLosesItsReaderSaysSo) {
    const std::pair<Arguments, const char*> commands[] = {
        {remap(ts_, "-"), "-: cannot be written: Broken pipe\n"},
        {{"flv-meta", flv_, "-"}, "-: cannot be written: Broken pipe\n"},
        {{"mp3-fix", mp2_, "-"}, "-: cannot be written: Broken pipe\n"},
        {{"rtp", ts_, "-"}, "-: cannot be written: Broken pipe\n"},
        {{"build", "null", "-"}, "-: cannot be written: Broken pipe\n"},
        {{"pace", ts_}, "standard output: cannot be written: Broken pipe\n"},
        {{ts_}, ""},
        {{"monitor", ts_}, ""},
    };
    for (const auto& [command, said] : commands) {
        Pipe out;
        Pipe::close_end(out.read_end);
        ToolProcess tool(dir_, command, -1, out.write_end);
        EXPECT_EQ(tool.wait(), 128 + SIGPIPE) << command[0];
        const std::string all = *said == '\0' ? "" : std::string("zvprobe: ") + said;
        EXPECT_EQ(read_file(dir_ / "stderr"), all) << command[0];
    }
}

TEST_F(Writing, AReaderThatIsSlowGetsEverything) {
    const std::string once = "'" + media("eight-streams.ts") + "' ";
    std::string many;
    for (int i = 0; i < 30; ++i)
        many += once;
    const std::string commands[] = {
        "remap '" + ts_ + "' - " + kRemap,  "flv-meta '" + flv_ + "' -", "mp3-fix '" + mp2_ + "' -",
        "rtp '" + ts_ + "' - 2> /dev/null", "build null --count 5000 -", "--json " + many,
    };
    for (const std::string& command : commands) {
        const std::string expected = shell("zvprobe " + command).out;
        EXPECT_GT(expected.size(), 100'000u) << command;
        Pipe out;
        fcntl(out.write_end, F_SETFL, O_NONBLOCK);
        // By a shell, for its quotes.
        const pid_t child = fork();
        if (child == 0) {
            dup2(out.write_end, STDOUT_FILENO);
            execl("/bin/sh", "sh", "-c", ("'" ZV_PROBE_BINARY "' " + command).c_str(), nullptr);
        }
        Pipe::close_end(out.write_end);
        EXPECT_TRUE(await([&] { return out.fill() >= 65536; })) << command;
        EXPECT_TRUE(out.read_all() == expected) << command;
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << command;
    }
}

// The reader of the output makes the source shorter, which the tool has read only the first of.
TEST_F(Writing, ASourceThatShrinksIsReported) {
    const std::pair<std::string, std::string> commands[] = {{ts_, "remap in - " + kRemap},
                                                            {flv_, "flv-meta in -"},
                                                            {mp2_, "mp3-fix in -"},
                                                            {ts_, "rtp in -"}};
    for (const auto& [source, command] : commands) {
        folder_.put("in", read_file(source));
        const Outcome outcome = shell("(zvprobe " + command +
                                      "; echo $? > status) | (head -c 1000 > part; truncate -s "
                                      "1000000 in; cat > rest); exit $(cat status)");
        EXPECT_EQ(outcome.status, 3) << command;
        EXPECT_NE(outcome.err.find("became shorter while it was read"), std::string::npos)
            << outcome.err;
    }
}

TEST_F(Writing, WithoutRoomNothingIsLeft) {
    for (const std::string& command :
         {"flv-meta '" + flv_ + "' ", "mp3-fix '" + mp2_ + "' ", "rtp '" + ts_ + "' ",
          std::string("build null --count 20000 ")}) {
        for (const char* name : {"stream", "new"}) {
            file("kept");
            const Outcome outcome = shell("ulimit -f 1000; zvprobe " + command + name);
            EXPECT_EQ(outcome.status, 3) << command;
            EXPECT_NE(outcome.err.find("cannot be written: File too large"), std::string::npos);
            EXPECT_EQ(files(), (std::map<std::string, std::string>{{"stream", "kept"}})) << command;
        }
        EXPECT_EQ(shell("zvprobe " + command + "- > /dev/full").status, 3);
    }
}

// What is closed at the start is not taken by a socket or a file.
TEST_F(Writing, ClosedDescriptorsAreNobodysElse) {
    const std::string source = "'" + media("single.ts") + "' ";
    EXPECT_EQ(shell("zvprobe - <&-").status, 3);
    EXPECT_EQ(shell("zvprobe " + source + ">&-").status, 3);
    EXPECT_EQ(shell("zvprobe build null - >&-").status, 3);
    EXPECT_EQ(shell("zvprobe build null --count 4 out <&- >&- 2>&-").status, 0);
    EXPECT_EQ(read_file(dir_ / "out").size(), 4u * 188);
    const std::string lines[] = {"rtp - <&- >&- ", "rtp - out <&- ", "extract - es <&- >&- ",
                                 "rtp " + source + "- >&- ", "mp3-fix '" + mp2_ + "' - >&- "};
    for (const std::string& line : lines) {
        EXPECT_EQ(shell("timeout 10 '" ZV_PROBE_BINARY "' " + line).status, 3) << line;
        EXPECT_NE(read_file(dir_ / "stderr").find("-: "), std::string::npos) << line;
    }
    // The files are whole, their list is not told.
    EXPECT_EQ(shell("zvprobe extract " + source + "es <&- >&- 2>&-").status, 3);
    EXPECT_EQ(read_file(dir_ / "es/0x101-aac.aac").size(), 50435u);

    // Else the socket would be descriptor 2, where -v tells what is found.
    std::string told;
    {
        const Server peer([&](int fd) {
            send_all(fd, read_file(media("single.ts")));
            shutdown(fd, SHUT_WR);
            char piece[1000];
            for (ssize_t n; (n = recv(fd, piece, sizeof piece, 0)) > 0;)
                told.append(piece, static_cast<size_t>(n));
        });
        const std::string url = "tcp://127.0.0.1:" + std::to_string(peer.port);
        EXPECT_EQ(shell("zvprobe -v " + url + " 2>&- > report").status, 0);
    }
    EXPECT_EQ(told, "") << "events went to the peer";
    EXPECT_GT(read_file(dir_ / "report").size(), 500u);
}

TEST_F(Writing, NamesMayBeAsLongAsTheSystemAllows) {
    const std::string name(250, 'n');
    std::string path = dir_;
    while (path.size() < 1230)
        std::filesystem::create_directory(path += "/" + std::string(200, 'd'));
    std::filesystem::copy(ts_, path + "/in.ts");
    std::filesystem::copy(flv_, path + "/in.flv");
    std::filesystem::copy(mp2_, path + "/in.mp2");
    const std::string ts = "'" + path + "/in.ts' ", flv = "'" + path + "/in.flv' ";
    const std::string mp2 = "'" + path + "/in.mp2' ";
    for (const std::string& command :
         {"remap " + ts + name + " " + kRemap, "flv-meta " + flv + name, "build null " + name,
          "rtp " + ts + name, "extract " + ts + name, "mp3-fix " + mp2 + name, ts, "monitor " + ts,
          flv}) {
        const Outcome outcome =
            shell("zvprobe " + command + "; status=$?; rm -rf " + name + "; exit $status");
        EXPECT_EQ(outcome.status, 0) << command << outcome.err;
    }
    EXPECT_NE(shell("zvprobe http://127.0.0.1:1/" + std::string(1100, 'u')).err.find("too long"),
              std::string::npos);
}

TEST_F(Writing, ALinkStaysALinkThoughItsTargetIsMissing) {
    const Outcome outcome = shell(
        "mkdir a b && ln -s ../b/file a/link && ln -s a/link link && ln -s loop loop && "
        "zvprobe build null --count 2 link && test -L link && test -L a/link");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(read_file(dir_ / "b/file").size(), 2u * 188);
    EXPECT_EQ(shell("zvprobe build null loop").status, 3);
    // A name in /dev/fd that leads to no file any more is not taken for another one's.
    shell("exec 5>gone; rm gone; echo other > 'gone (deleted)'; zvprobe build null /dev/fd/5");
    EXPECT_EQ(read_file(dir_ / "gone (deleted)"), "other\n");
}

TEST_F(Writing, AnEmptySourceIsOfNoFormat) {
    file("");
    for (const std::string& command :
         {std::string("stream"), std::string("monitor stream"), "remap stream out " + kRemap,
          std::string("pace stream"), std::string("flv-meta stream out"), std::string("- < stream"),
          std::string("monitor - < /dev/null"), std::string("mp3-fix stream out"),
          std::string("extract stream es"), std::string("extract - es < stream"),
          std::string("rtp stream out"), std::string("rtp - out < stream")}) {
        const Outcome outcome = shell("zvprobe " + command);
        EXPECT_EQ(outcome.status, 4) << command;
        EXPECT_NE(outcome.err.find(": not "), std::string::npos) << outcome.err;
        EXPECT_EQ(files().size(), 1u) << command;
    }
}

// From too little memory to load the tool to enough.
TEST_F(Writing, WithoutMemoryTheSourceIsNamedAndNothingLeft) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers reserve more than any limit";
#endif
    file(read_file(media("single.ts")));
    const auto before = files();
    for (const std::string& command :
         {std::string("stream"), std::string("monitor stream"), "remap stream out " + kRemap,
          std::string("extract stream es"), std::string("rtp stream out")}) {
        bool said = false;
        Outcome outcome = {-1, "", ""};
        for (int limit = 4000; outcome.status != 0 && limit < 60000; limit += 250) {
            EXPECT_TRUE(files() == before) << command;
            outcome = shell("ulimit -v " + std::to_string(limit) + "; zvprobe " + command);
            said = said || outcome.err.find("zvprobe: stream: out of memory") != std::string::npos;
        }
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_TRUE(said) << command;
        shell("rm -rf out es");
    }
}

TEST_F(Writing, NumbersOutOfRangeAreRefused) {
    for (const char* number : {"nan", "inf", "-1", "1e99", "''", "5x", "0x", "99999999999", " "}) {
        for (const std::string& command :
             {std::string("monitor /dev/null --interval=%"),
              std::string("build null out --count=%"), "remap x y " + kRemap + "--from=%",
              std::string("/dev/null --limit pat=%"), std::string("extract x y --pid=%"),
              std::string("extract x y --program=%"), std::string("rtp x --reorder-ms=%"),
              std::string("rtp x --reorder-packets=%"), std::string("pace x --loop=%"),
              std::string("remap x y --drop=%"), std::string("remap x y --map=80:%"),
              std::string("build pmt out --pmt 0x50 --pcr 0x60 --stream 1:%"),
              std::string("build sdt out --service=%")}) {
            std::string line = "zvprobe " + command;
            line.replace(line.find('%'), 1, number == std::string(" ") ? "' '" : number);
            const Outcome outcome = shell(line);
            EXPECT_EQ(outcome.status, 2) << line << outcome.err;
        }
    }
}

TEST_F(Writing, NothingAnArgumentOrAStreamHoldsReachesTheTerminalRaw) {
    const std::string raw = "\"$(printf '\\033[31mred')\" ";
    for (const std::string& command :
         {raw, "--" + raw, "probe --pace=" + raw + "x", "monitor x --interval " + raw,
          "remap x y " + kRemap + "--from " + raw, "remap x y --map " + raw,
          "remap x y --program 1:2:" + raw, "extract x y --pid " + raw, "rtp x --reorder-ms " + raw,
          "rtp " + raw, "extract '" + ts_ + "' missing/" + raw, "build " + raw,
          "build pat out --program " + raw, "build null out --count " + raw,
          "build pmt out --pmt 0x50 --pcr 0x60 --stream " + raw, "pace x --to " + raw, raw + "://x",
          "x --limit " + raw, "x " + raw + "--limits " + raw}) {
        const Outcome outcome = shell("zvprobe " + command + " < /dev/null");
        EXPECT_NE(outcome.err.find("\\x1b[31mred"), std::string::npos) << command << outcome.err;
        EXPECT_EQ(outcome.err.find('\x1b'), std::string::npos) << command;
    }
    shell("{ zvprobe build pat --program 1:0x42 -; zvprobe build sdt --service 1 --name " + raw +
          " -; zvprobe build pmt --pmt 0x42 --pcr 0x101 --stream 27:0x101 -; cat '" + ts_ +
          "'; } > stream");
    const std::string told = shell("zvprobe -vvvvvv stream").err;
    EXPECT_NE(told.find("\\x1b[31mred"), std::string::npos) << told;
    EXPECT_EQ(told.find('\x1b'), std::string::npos);
}

}  // namespace
