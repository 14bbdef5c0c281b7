// SPDX-License-Identifier: MIT
// Datagrams of a udp or rtp URL, one by one as they came, and when: for readers that need to know
// where each begins. Their end is a signal, or a silence.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "io/url_handle.h"

namespace zvprobe {

// -> true when the URL is one of datagrams
bool sends_datagrams(const std::string& url);

class DatagramSource {
  public:
    using Clock = std::chrono::steady_clock;

    explicit DatagramSource(const std::string& url);  // throws SourceError

    // Waits for a datagram, not for long: what depends on time goes on meanwhile.
    // -> the datagram, until the next call; empty when none came
    std::span<const uint8_t> next();

    // -> when next() returned
    Clock::time_point now() const { return now_; }

    bool at_end() const { return at_end_; }

    // -> why reading ended early; empty when it did not
    const std::string& error() const { return error_; }

  private:
    void look_at_failure(int error);

    UrlHandle url_;
    bool url_says_timeout_;
    std::unique_ptr<uint8_t[]> buffer_;
    Clock::time_point now_ = Clock::now();
    Clock::time_point last_ = now_;  // datagram
    bool at_end_ = false;
    std::string error_;
};

}  // namespace zvprobe
