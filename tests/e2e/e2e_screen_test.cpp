// SPDX-License-Identifier: MIT
// `monitor` on a terminal, which tmux plays: its keys, sizes, and what ends or stops it.
#include <regex>

#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;

class ScreenTest : public ToolTest {
  protected:
    void SetUp() override {
        if (shell("command -v tmux").status != 0) GTEST_SKIP() << "tmux is not installed";
    }
    void TearDown() override { leave(); }
    void leave() {
        tmux("kill-server");
        ++terminals_;  // the next one has a socket of its own: this one may take a while to go
    }

    std::string tmux(const std::string& arguments) const {
        return shell("tmux -u -S socket" + std::to_string(terminals_) + " -f /dev/null " +
                     arguments)
            .out;
    }

    // Starts the tool in a terminal, on a sample that comes in its own time.
    void start(const std::string& options = "", const std::string& settings = "") const {
        const std::string tool = "'" ZV_PROBE_BINARY "'";
        folder_.put("run", "export LC_ALL=C.UTF-8 " + settings + "\nulimit -c 0\ntrap : INT\n" +
                               tool + " pace --loop '" + media("three-programs.ts") +
                               "' | sh -c 'echo $$ >pid; exec \"$0\" monitor - " + options + "' " +
                               tool + "\necho $? >status.new\nstty -a >modes\n" +
                               "mv status.new status\n");
        tmux("new-session -d -x 100 -y 30 'exec sh -i'");
        type("'sh run' Enter");
    }
    void type(const std::string& keys) const { tmux("send-keys " + keys); }
    std::string screen() const { return tmux("capture-pane -p"); }
    bool drawn_on() const { return tmux("display -p '#{alternate_on}'") == "1\n"; }

    // Waits until the screen has it. -> false, and what is there instead
    testing::AssertionResult shows(const std::string& part) const {
        std::string text;
        if (await([&] { return std::regex_search(text = screen(), std::regex(part)); }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << part << " is not in\n" << text;
    }
    testing::AssertionResult is_running() const {
        const auto shown = shows("\\? help");
        return shown && drawn_on() ? shown : testing::AssertionFailure() << shown.message();
    }
    void send(const std::string& signal) const { shell("kill -" + signal + " $(cat pid)"); }

    testing::AssertionResult modes_are_back() const {
        const std::string modes = read_file(dir_ / "modes");
        for (const char* mode : {"echo", "icanon", "icrnl", "opost"})
            if (!std::regex_search(modes, std::regex(std::string("\\s") + mode + "\\s")))
                return testing::AssertionFailure() << mode << " is not set in " << modes;
        return testing::AssertionSuccess();
    }

    // -> the status of the tool, once it has given the terminal back
    std::string given_back() const {
        if (!await([&] { return std::filesystem::exists(dir_ / "status"); })) return "runs on";
        EXPECT_TRUE(modes_are_back());
        EXPECT_FALSE(drawn_on());
        std::string status = read_file(dir_ / "status");
        std::filesystem::remove(dir_ / "status");
        return status;
    }

  private:
    int terminals_ = 0;
};

TEST_F(ScreenTest, KeysSortFreezeResetHelpAndEnd) {
    start();
    ASSERT_TRUE(is_running());
    EXPECT_TRUE(shows("0x104 .*\xe2\x96\x88.* 3 audio ac3"));  // a full block
    EXPECT_TRUE(shows("2\\.3\\.a X [1-9]"));
    EXPECT_TRUE(shows("PCR_repetition_error"));
    type("s");
    EXPECT_TRUE(shows("\\*rate[^]*\n0x100 [^]*\n0x0 "));
    type("'?'");
    EXPECT_TRUE(shows("freeze the screen"));
    EXPECT_EQ(screen().find("0x100"), std::string::npos);
    type("'?' f");
    EXPECT_TRUE(shows("^ FROZEN "));
    const std::string frozen = screen();
    type("r");
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_EQ(screen(), frozen);
    type("f");
    EXPECT_TRUE(shows("\nin 0:00:01 "));
    EXPECT_TRUE(shows("\n0x100 "));
    type("q");
    EXPECT_EQ(given_back(), "0\n");
    EXPECT_TRUE(shows("\n  monitored +[0-9.]+ s, "));
}

TEST_F(ScreenTest, FollowsTheSizeOfTheTerminal) {
    start();
    ASSERT_TRUE(is_running());
    tmux("resize-window -x 44 -y 12");
    EXPECT_TRUE(shows("^ zvprobe - {26,}0:00:[0-9]{2}\\s*\n"));
    tmux("resize-window -x 44 -y 5");
    EXPECT_TRUE(shows("^too small: 40x10 at least"));
    tmux("resize-window -x 160 -y 50");
    EXPECT_TRUE(shows("^ zvprobe - {140,}0:00:[0-9]{2}\\s*\n"));
    EXPECT_TRUE(shows("\n0x1002 "));
}

TEST_F(ScreenTest, GivesTheTerminalBackWhateverEndsIt) {
    for (const auto& [signal, status] : {std::pair("INT", "0\n"),
                                         {"TERM", "0\n"},
                                         {"HUP", "0\n"},
                                         {"QUIT", "131\n"},
                                         {"ABRT", "134\n"},
                                         {"PIPE", "141\n"}}) {
        start();
        ASSERT_TRUE(is_running()) << signal;
        send(signal);
        EXPECT_EQ(given_back(), status) << signal;
        leave();
    }
}

TEST_F(ScreenTest, StopsForTheShellAndDrawsAgain) {
    start();
    ASSERT_TRUE(is_running());
    type("C-z");
    EXPECT_TRUE(await([&] { return !drawn_on(); }));
    type("'stty -a >modes; echo seen; fg' Enter");
    EXPECT_TRUE(shows("\n\\*PID "));
    EXPECT_TRUE(drawn_on());
    EXPECT_TRUE(modes_are_back());
    type("C-c");
    EXPECT_EQ(given_back(), "0\n");
}

TEST_F(ScreenTest, IsLeftToTerminalsAndToThoseWhoAskForNoReports) {
    for (const auto& [options, settings] : {std::pair("--plain", ""),
                                            {"--interval 0.3", ""},
                                            {"--stats", ""},
                                            {"-v", ""},
                                            {"", "TERM=dumb"},
                                            {"", "TERM=no-such-terminal"},
                                            {">report; cat report", ""}}) {
        start(options, settings);
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        EXPECT_FALSE(drawn_on()) << options << settings;
        type("C-c");
        EXPECT_EQ(given_back(), "0\n") << options << settings;
        leave();
    }
}

TEST_F(ScreenTest, ColoursAreForThoseWhoWantThem) {
    const auto coloured = [&](const char* settings) {
        start("", settings);
        EXPECT_TRUE(shows("2\\.3\\.a X [1-9]"));
        const std::string text = tmux("capture-pane -e -p");
        leave();
        return text.find("[36m") != text.npos || text.find("[31m") != text.npos;
    };
    EXPECT_TRUE(coloured("NO_COLOR="));
    EXPECT_FALSE(coloured("NO_COLOR=1"));
}

}  // namespace
