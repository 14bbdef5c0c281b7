// SPDX-License-Identifier: MIT
// A connection of the endpoint with limits on its whole: how much a request may hold, how long it may
// take to come, and how long its answer may take to be read.
#pragma once

#include <httplib.h>

#include <chrono>
#include <functional>
#include <string>

namespace zvprobe {

class HttpStream : public httplib::Stream {
  public:
    // fd           is closed by who gave it
    // is_pressed   asked while the other side is waited for: others wait for this thread
    HttpStream(int fd, std::function<bool()> is_pressed);

    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* to, size_t size) override;
    ssize_t write(const char* from, size_t size) override;

    // -> the next line, with its "\n": fewer bytes when no more come, or it has more than `most`
    std::string read_line(size_t most);

    // The next reads begin with these.
    void give_back(std::string bytes) {
        given_back_ = std::move(bytes);
        given_back_taken_ = 0;
    }

    // Takes no notice of what the other side still sends. A connection that is closed before is reset,
    // and what was not read of the answer may be lost with it.
    void discard_rest();

    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return fd_; }

  private:
    using Clock = std::chrono::steady_clock;

    bool wait(short events, Clock::time_point end) const;
    bool wait_in_turn(short events, Clock::time_point begin, Clock::duration usual,
                      Clock::duration pressed) const;

    const int fd_;
    const std::function<bool()> is_pressed_;
    const Clock::time_point begin_ = Clock::now();
    Clock::time_point answer_begin_ = {};  // none has begun
    size_t left_;                          // bytes that the request may still have
    char buffer_[2048];
    size_t filled_ = 0;
    size_t taken_ = 0;
    std::string given_back_;
    size_t given_back_taken_ = 0;
};

}  // namespace zvprobe
