// SPDX-License-Identifier: MIT
// `monitor` as a service manager and the journal have it: what it tells the one, and what lines it
// writes for the other.
#include <sys/un.h>

#include "support/await.h"
#include "support/loopback.h"
#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;

class Service : public ToolTest {
  protected:
    Service() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string name = folder_ / "notify";
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        setenv("WATCHDOG_USEC", "200000", 1);
    }
    ~Service() override {
        close(fd_);
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
    }
    // -> the next message; empty when none comes
    std::string told(int wait_ms = 10'000) const {
        pollfd entry = {fd_, POLLIN, 0};
        if (poll(&entry, 1, wait_ms) != 1) return "";
        char text[500];
        return {text, static_cast<size_t>(recv(fd_, text, sizeof text, 0))};
    }
    // -> the next one that is no sign of life
    std::string told_besides_life() const {
        for (;;)
            if (const std::string text = told(); text != "WATCHDOG=1") return text;
    }

    const int fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(Service, TellsItsManagerFromItsBeginToItsEnd) {
    file("[a]\nurl = none\n");
    ToolProcess tool(dir_, {"monitor", "--config", "stream"});
    EXPECT_EQ(told(), "READY=1\nSTATUS=1 source");
    EXPECT_EQ(told(), "WATCHDOG=1");
    EXPECT_EQ(told(), "WATCHDOG=1");
    const auto reload = [&](const std::string& text) {
        file(text);
        tool.send(SIGHUP);
        EXPECT_TRUE(told_besides_life().starts_with("RELOADING=1\nMONOTONIC_USEC="));
        return told_besides_life();
    };
    EXPECT_EQ(reload("[a]\nurl = none\n[b]\nurl = none\n"), "READY=1\nSTATUS=2 sources");
    EXPECT_EQ(reload("[a]\n"), "READY=1\nSTATUS=refused: stream:1: source \"a\" has no url");
    tool.send(SIGSTOP);
    while (!told(500).empty())
        continue;
    EXPECT_EQ(told(600), "") << "a stopped process gives no sign of life";
    tool.send(SIGCONT);
    EXPECT_EQ(told(), "WATCHDOG=1");
    tool.send(SIGTERM);
    EXPECT_EQ(told_besides_life(), "STOPPING=1");
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(Service, IsNotReadyWhenItCannotBegin) {
    file("[a]\n");
    EXPECT_EQ(shell("zvprobe monitor --config stream").status, 2);
    EXPECT_EQ(told(0), "");
}

// A source whose line cannot be written stands still, and with it the watch.
TEST_F(Service, GivesNoSignOfLifeWhenItHangs) {
    ASSERT_EQ(mkfifo((folder_ / "stderr").c_str(), 0600), 0);
    const int fd = open((folder_ / "stderr").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string filler(4096, 'x');
    while (write(fd, filler.data(), filler.size()) > 0)
        continue;
    ToolProcess tool(dir_, {"monitor", "none", "nothing"});
    EXPECT_EQ(told(), "READY=1\nSTATUS=2 sources");
    while (!told(500).empty())
        continue;
    EXPECT_EQ(told(600), "");
    close(fd);
}

TEST_F(Service, MarksItsLinesForTheJournalAlone) {
    file("[a]\nurl = none\n");
    const std::string known = "JOURNAL_STREAM=$(stat -Lc %d:%i /dev/fd/2) ";
    const auto said = [&](const std::string& variables) {
        return shell(variables + " timeout 2 '" ZV_PROBE_BINARY
                                 "' monitor --config stream --listen 0")
            .err;
    };
    const std::string marked = said(known);
    EXPECT_TRUE(marked.starts_with("<4>a: away: No such file or directory; tried again in ") ||
                marked.starts_with("<5>http://127.0.0.1:"))
        << marked;
    EXPECT_NE(marked.find("<5>http://127.0.0.1:"), marked.npos) << marked;
    EXPECT_EQ(marked.find("zvprobe:"), marked.npos) << marked;
    const std::string plain = said("JOURNAL_STREAM=8:1234");
    EXPECT_NE(plain.find("zvprobe: a: away: "), plain.npos) << plain;
    EXPECT_EQ(plain.find('<'), plain.npos) << plain;
    file("[a]\n");
    EXPECT_EQ(said(known), "<3>stream:1: source \"a\" has no url\n");
}

TEST_F(Service, KeepsItsStateApartFromAFloodOfEvents) {
    Loopback loopback;
    loopback.give_port_away();
    const std::string bytes = read_file(media("single.ts"));
    ToolProcess tool(dir_, {"-v", "monitor", "--json-lines", "--interval", "60",
                            "udp://127.0.0.1:" + std::to_string(loopback.port), "none"});
    EXPECT_TRUE(told().starts_with("READY=1"));
    for (int i = 0; i < 60; ++i)  // each time the same: the counters stand
        loopback.send(bytes.substr(size_t{188} * 100, size_t{7} * 188));
    EXPECT_TRUE(await([&] { return tool.has_said(": away: no packets come"); }));
    tool.send(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
    const std::string said = read_file(dir_ / "stderr");
    size_t events = 0;
    for (size_t at = 0; (at = said.find(": byte ", at)) != said.npos; ++at)
        ++events;
    EXPECT_EQ(events, 10u) << said;
    EXPECT_NE(said.find(" events left out in a minute"), said.npos) << said;
}

}  // namespace
