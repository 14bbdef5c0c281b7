// SPDX-License-Identifier: MIT
// Ports of the loopback interface, datagrams to and from the tool over it, and a server for it.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "folder.h"

namespace zvtest {

inline sockaddr_in loopback(int port) {
    return {AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
}

// Binds to a free port of the loopback interface. -> the port
inline int bind_loopback(int fd) {
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), size);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

// A port that was free a moment ago.
inline int free_port(int type) {
    const int fd = socket(AF_INET, type, 0);
    const int port = bind_loopback(fd);
    close(fd);
    return port;
}

// A socket for datagrams to and from the tool.
struct Loopback {
    ~Loopback() { close(fd); }

    // Leaves the port to the tool, sends there from now on.
    void give_port_away() { close(std::exchange(fd, socket(AF_INET, SOCK_DGRAM, 0))); }
    void await_tool() const {
        char entry[16];
        std::snprintf(entry, sizeof entry, ":%04X 0", static_cast<unsigned>(port));
        for (int i = 0; i < 500 && read_file("/proc/net/udp").find(entry) == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    void send_at_once(const std::string& bytes) const {
        const sockaddr_in to = loopback(port);
        sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
               sizeof to);
    }
    // Not faster than the tool reads, else some would get lost.
    void send(const std::string& bytes) const {
        send_at_once(bytes);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    // -> a datagram; empty when none came for a second
    std::string receive() const {
        pollfd wait = {fd, POLLIN, 0};
        std::string bytes(2000, '\0');
        if (poll(&wait, 1, 1000) != 1) return {};
        bytes.resize(static_cast<size_t>(recv(fd, bytes.data(), bytes.size(), 0)));
        return bytes;
    }

    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    int port = bind_loopback(fd);
};

// Runs listen(address), and sends there when something listens. -> what it returns
template <typename Listen>
auto while_sending(const std::vector<std::string>& datagrams, Listen listen) {
    Loopback loopback;
    loopback.give_port_away();
    std::thread sender([&] {
        loopback.await_tool();
        for (const std::string& datagram : datagrams)
            loopback.send(datagram);
    });
    auto result = listen("127.0.0.1:" + std::to_string(loopback.port));
    sender.join();
    return result;
}

// With a CSRC, a header extension and padding around the payload.
inline std::string rtp_datagram(size_t sequence, const std::string& payload) {
    const std::string head = {'\xB1', 33, 0, static_cast<char>(sequence)};
    return head + std::string(12, '\0') + std::string("\0\1\0\1wxyz", 8) + payload +
           std::string("\0\0\3", 3);
}

inline std::vector<std::string> in_rtp(const std::vector<std::string>& payloads) {
    std::vector<std::string> datagrams;
    for (const std::string& payload : payloads)
        datagrams.push_back(rtp_datagram(datagrams.size(), payload));
    return datagrams;
}

// Serves one tcp peer after the other with `serve(fd)` until destroyed.
class Server {
  public:
    explicit Server(std::function<void(int)> serve) {
        port = bind_loopback(listener_);
        listen(listener_, 4);
        thread_ = std::thread([this, serve = std::move(serve)] {
            for (int fd; (fd = accept(listener_, nullptr, nullptr)) >= 0; ::close(fd))
                serve(fd);
        });
    }
    ~Server() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    int port = 0;

  private:
    int listener_ = socket(AF_INET, SOCK_STREAM, 0);
    std::thread thread_;
};

inline void send_all(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (n <= 0) return;
        done += static_cast<size_t>(n);
    }
}

// Holds a connection open until the peer hangs up.
inline void wait_for_hang_up(int fd) {
    for (char c; recv(fd, &c, 1, 0) > 0;) {
    }
}

}  // namespace zvtest
