// SPDX-License-Identifier: MIT
// `monitor --listen` as a process of its own, and questions to it over HTTP.
#pragma once

#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "await.h"
#include "loopback.h"
#include "tool_process.h"
#include "tool_run.h"

namespace zvtest {

inline constexpr size_t kDatagram = size_t{7} * 188;

class Connection {
  public:
    // room: of the receive buffer; 0: as usual
    explicit Connection(int port, int room = 0) {
        if (room > 0) setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        const sockaddr_in to = loopback(port);
        is_open = connect(fd_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    }
    ~Connection() { close(fd_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void send(const std::string& text) const {
        ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
    }
    // -> all that comes until the other side closes, or for so long nothing does
    std::string receive(int wait_ms = 10'000) const {
        std::string all;
        char piece[65536];
        for (;;) {
            pollfd entry = {fd_, POLLIN, 0};
            if (poll(&entry, 1, wait_ms) != 1) return all + "(still open)";
            const ssize_t n = recv(fd_, piece, sizeof piece, 0);
            if (n <= 0) return all;
            all.append(piece, static_cast<size_t>(n));
        }
    }

    bool is_open = false;

  private:
    int fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

class Watch : public ToolTest {
  protected:
    // descriptors: as ToolProcess has them
    void start(std::vector<std::string> arguments, int port = 0, rlim_t descriptors = 0) {
        arguments.insert(arguments.begin(),
                         {"monitor", "--listen", address_ + std::to_string(port)});
        tool_.reset();
        std::filesystem::remove(dir_ / "stderr");
        tool_.emplace(dir_, arguments, -1, -1, descriptors);
        const std::regex line("http://.*:([0-9]+): answers");
        ASSERT_TRUE(await([&] {
            const std::string told = read_file(dir_ / "stderr");
            std::smatch found;
            if (!std::regex_search(told, found, line)) return false;
            port_ = std::stoi(found[1]);
            return true;
        })) << read_file(dir_ / "stderr");
    }
    std::string ask(const std::string& request) const {
        const Connection connection(port_);
        connection.send(request);
        return connection.receive();
    }
    std::string get(const std::string& path) const {
        const std::string all = ask("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        const size_t end = all.find("\r\n\r\n");
        return all.starts_with("HTTP/1.1 200") && end != all.npos ? all.substr(end + 4) : "";
    }
    // Metric lines by what stands before the value.
    std::map<std::string, double> metrics() const {
        std::map<std::string, double> all;
        std::istringstream lines(get("/metrics"));
        for (std::string line; std::getline(lines, line);)
            if (!line.starts_with('#'))
                all[line.substr(0, line.rfind(' '))] = std::stod(line.substr(line.rfind(' ')));
        return all;
    }
    bool says(const std::string& words) const {
        return await([&] { return tool_->has_said(words); });
    }
    // Has the configuration read again.
    void reload(const std::string& text) {
        static_cast<void>(file(text));
        const size_t before = read_file(dir_ / "stderr").size();
        tool_->send(SIGHUP);
        EXPECT_TRUE(await([&] {
            return read_file(dir_ / "stderr").find("read again", before) != std::string::npos;
        })) << text;
    }
    // -> a figure of /proc/PID/status
    uint64_t status(const std::string& name) const {
        const std::string text = read_file("/proc/" + std::to_string(tool_->pid()) + "/status");
        const size_t at = text.find(name + ":");
        return at == text.npos ? 0 : std::stoull(text.substr(at + name.size() + 1));
    }
    size_t descriptors() const {
        const std::filesystem::path all = "/proc/" + std::to_string(tool_->pid()) + "/fd";
        return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(all), {}));
    }
    bool shows(const std::string& name, double value) const {
        return await([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            const auto all = metrics();
            const auto found = all.find(name);
            return found != all.end() && found->second == value;
        });
    }

    std::string address_;  // to listen at, with a colon; empty: the usual one
    std::optional<ToolProcess> tool_;
    int port_ = 0;
};

}  // namespace zvtest
