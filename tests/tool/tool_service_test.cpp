// SPDX-License-Identifier: MIT
// What a watch tells the service manager, and how many lines it gives the log.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/un.h>

#include <cstddef>
#include <ctime>

#include "commands/parts/service_manager.h"
#include "support/await.h"
#include "support/loopback.h"
#include "support/test_media.h"
#include "watch/event_lines.h"
#include "watch/receiver.h"

namespace {

using namespace zvtest;
using namespace zvprobe;
using namespace std::chrono_literals;

// The manager's end of NOTIFY_SOCKET.
class Manager {
  public:
    explicit Manager(const std::string& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        if (name[0] == '@') address.sun_path[0] = '\0';
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), size), 0);
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    ~Manager() {
        close(fd_);
        for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            unsetenv(name);
    }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    // -> the next message; empty: there is none
    std::string told() const {
        char text[500];
        const ssize_t n = recv(fd_, text, sizeof text, MSG_DONTWAIT);
        return n < 0 ? "" : std::string(text, static_cast<size_t>(n));
    }

  private:
    const int fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST(ServiceManager, TellsItsStateToPathsAndAbstractNames) {
    const Folder folder;
    for (const std::string& name : {folder / "notify", "@zvtest-" + std::to_string(getpid())}) {
        const Manager manager(name);
        ServiceManager service;
        service.ready("2 sources\n\x1b");
        EXPECT_EQ(manager.told(), "READY=1\nSTATUS=2 sources\\x0a\\x1b");
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        service.reloading();
        const std::string reloading = manager.told(), head = "RELOADING=1\nMONOTONIC_USEC=";
        ASSERT_EQ(reloading.substr(0, head.size()), head);
        const double since =
            std::stod(reloading.substr(head.size())) / 1e6 -
            (static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec));
        EXPECT_GE(since, -1e-5);
        EXPECT_LT(since, 5);
        service.stopping();
        EXPECT_EQ(manager.told(), "STOPPING=1");
        service.is_alive();
        EXPECT_EQ(manager.told(), "") << "there is no watchdog";
    }
}

TEST(ServiceManager, GivesASignOfLifeTwiceInTheTimeOfItsWatchdog) {
    const Folder folder;
    const Manager manager(folder / "notify");
    setenv("WATCHDOG_USEC", "400000", 1);
    ServiceManager service;
    const auto begin = std::chrono::steady_clock::now();
    size_t signs = 0;
    while (std::chrono::steady_clock::now() - begin < 700ms) {
        service.is_alive();
        signs += manager.told() == "WATCHDOG=1";
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_GE(signs, 3u);
    EXPECT_LE(signs, 4u);
    setenv("WATCHDOG_PID", std::to_string(getppid()).c_str(), 1);
    ServiceManager().is_alive();
    EXPECT_EQ(manager.told(), "") << "that watchdog is for another process";
}

TEST(ServiceManager, GoesOnWithoutAManagerAndSaysSoOnce) {
    const Folder folder;
    setenv("NOTIFY_SOCKET", (folder / "none").c_str(), 1);
    ServiceManager service;
    testing::internal::CaptureStderr();
    service.ready("");
    service.stopping();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("cannot be told: No such file"), said.npos) << said;
    EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
    // One that does not read: the service waits for a second, not for ever.
    const Manager silent(folder / "notify");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (folder / "notify").copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    while (sendto(fd, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) > 0)
        continue;
    close(fd);
    ServiceManager other;
    testing::internal::CaptureStderr();
    const auto begin = std::chrono::steady_clock::now();
    other.ready("");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("cannot be told"), said.npos);
}

TEST(EventLines, AreTenAMinuteAndWhatIsLeftOutIsToldWhenTheMinuteIsOver) {
    const EventLines::Time begin{1000s};
    EventLines lines("news", "event", "events");
    const auto said = [&](auto act) {
        testing::internal::CaptureStderr();
        act();
        return testing::internal::GetCapturedStderr();
    };
    int written = 0;
    for (int i = 0; i < 25; ++i)
        written += lines.next(begin + i * 1s);
    EXPECT_EQ(written, 10);
    EXPECT_EQ(said([&] { lines.tick(begin + 59s); }), "");
    EXPECT_EQ(said([&] { lines.tick(begin + 60s); }),
              "zvprobe: news: 15 events left out in a minute\n");
    EXPECT_EQ(said([&] { lines.tick(begin + 61s); }), "");
    // The next minute begins with its first line.
    for (int i = 0; i < 11; ++i)
        lines.next(begin + 100s);
    EXPECT_EQ(said([&] { lines.tick(begin + 159s); }), "");
    EXPECT_EQ(said([&] { lines.finish(); }), "zvprobe: news: 1 event left out in a minute\n");
    EXPECT_EQ(said([&] { lines.tick(begin + 300s); }), "");
}

// Standard error that is not read any more stops whoever writes there.
TEST(Receiver, ThatIsStuckIsSeenToBe) {
    int pipe_ends[2];
    ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
    fcntl(pipe_ends[1], F_SETFL, O_NONBLOCK);
    const std::string filler(4096, 'x');
    while (write(pipe_ends[1], filler.data(), filler.size()) > 0)
        continue;
    fcntl(pipe_ends[1], F_SETFL, 0);
    Loopback loopback;
    loopback.give_port_away();
    const auto source = std::make_shared<WatchedSource>(
        SourceSettings{"a", "udp://127.0.0.1:" + std::to_string(loopback.port)}, Tallies{},
        WatchedSource::Options{true});
    Receiver receiver;
    receiver.add(source, true);
    std::this_thread::sleep_for(400ms);
    EXPECT_TRUE(await([&] { return receiver.has_looked_within(300ms); }));
    const int before = dup(STDERR_FILENO);
    dup2(pipe_ends[1], STDERR_FILENO);
    const Bytes bytes = load_media("single.ts");
    for (size_t i = 0; i < 20; ++i)
        loopback.send({reinterpret_cast<const char*>(bytes.data()) + i * 1316, 1316});
    std::this_thread::sleep_for(600ms);
    EXPECT_FALSE(receiver.has_looked_within(300ms));
    dup2(before, STDERR_FILENO);
    close(before);
    std::string rest(1 << 20, '\0');
    EXPECT_GT(read(pipe_ends[0], rest.data(), rest.size()), 0);
    EXPECT_TRUE(await([&] { return receiver.has_looked_within(150ms); }));
    close(pipe_ends[0]);
    close(pipe_ends[1]);
}

}  // namespace
