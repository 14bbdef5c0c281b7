// SPDX-License-Identifier: MIT
// Implementation of http_stream.h.
#include "watch/http/http_stream.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zvprobe {
namespace {

constexpr size_t kMostRequest = size_t{16} << 10;
constexpr std::chrono::seconds kRequestTime{5};
// Clients send their request with the connection. Who does not must go when others wait.
constexpr std::chrono::milliseconds kRequestTimePressed{250};
constexpr std::chrono::milliseconds kLook{50};
constexpr size_t kMostDiscarded = size_t{256} << 10;
constexpr std::chrono::seconds kDiscardTime{1};
constexpr std::chrono::seconds kAnswerTime{20};
constexpr std::chrono::seconds kAnswerTimePressed{2};

void describe(const sockaddr_storage& address, std::string& ip, int& port) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
        port = ntohs(v6.sin6_port);
    } else {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        port = ntohs(v4.sin_port);
    }
    ip = text;
}

}  // namespace

HttpStream::HttpStream(int fd, std::function<bool()> is_pressed)
    : fd_(fd), is_pressed_(std::move(is_pressed)), left_(kMostRequest) {}

bool HttpStream::wait(short events, Clock::time_point end) const {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd entry = {fd_, events, 0};
        const int ready = poll(&entry, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

// usual, pressed: how long it may take from its begin, and how long while others wait
bool HttpStream::wait_in_turn(short events, Clock::time_point begin, Clock::duration usual,
                              Clock::duration pressed) const {
    for (;;) {
        if (wait(events, std::min(begin + usual, Clock::now() + kLook))) return true;
        if (Clock::now() >= begin + (is_pressed_() ? pressed : usual)) return false;
    }
}

// The HTTP library asks for a byte at a time.
ssize_t HttpStream::read(char* to, size_t size) {
    if (given_back_taken_ < given_back_.size()) {
        const size_t count = given_back_.copy(to, size, given_back_taken_);
        given_back_taken_ += count;
        return static_cast<ssize_t>(count);
    }
    if (taken_ == filled_) {
        if (left_ == 0 || Clock::now() >= begin_ + kRequestTime ||
            !wait_in_turn(POLLIN, begin_, kRequestTime, kRequestTimePressed))
            return -1;
        const ssize_t got = recv(fd_, buffer_, std::min(sizeof buffer_, left_), MSG_DONTWAIT);
        if (got <= 0) return got;
        filled_ = static_cast<size_t>(got);
        left_ -= filled_;
        taken_ = 0;
    }
    const size_t count = std::min(size, filled_ - taken_);
    std::memcpy(to, buffer_ + taken_, count);
    taken_ += count;
    return static_cast<ssize_t>(count);
}

std::string HttpStream::read_line(size_t most) {
    std::string line;
    char c = '\0';
    while (c != '\n' && line.size() < most && read(&c, 1) == 1)
        line += c;
    return line;
}

void HttpStream::discard_rest() {
    shutdown(fd_, SHUT_WR);
    const auto begin = Clock::now();
    for (size_t got = 0; got < kMostDiscarded;) {
        if (!wait_in_turn(POLLIN, begin, kDiscardTime, {})) return;
        const ssize_t n = recv(fd_, buffer_, sizeof buffer_, MSG_DONTWAIT);
        if (n <= 0) return;
        got += static_cast<size_t>(n);
    }
}

ssize_t HttpStream::write(const char* from, size_t size) {
    if (answer_begin_ == Clock::time_point()) answer_begin_ = Clock::now();
    for (;;) {
        if (!wait_in_turn(POLLOUT, answer_begin_, kAnswerTime, kAnswerTimePressed)) return -1;
        const ssize_t sent = send(fd_, from, size, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) return sent;
    }
}

void HttpStream::get_remote_ip_and_port(std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getpeername(fd_, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        describe(address, ip, port);
}

void HttpStream::get_local_ip_and_port(std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        describe(address, ip, port);
}

}  // namespace zvprobe
