// SPDX-License-Identifier: MIT
// A socket of datagrams, many of them taken with one call, and what the kernel has dropped of them
// because the receive buffer was full.
#pragma once

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "io/url_handle.h"

namespace zvprobe {

// Room for the datagrams of one call; sockets of a thread share it.
class DatagramBatch {
  public:
    static constexpr size_t kMostDatagrams = 64;
    static constexpr size_t kMostBytes = size_t{64} << 10;

    DatagramBatch();

    // -> how many datagrams came, or a negated errno value
    int receive(int fd);

    // -> those of the last call, without empty ones
    std::span<const std::span<const uint8_t>> datagrams() const { return {found_.data(), count_}; }

    // -> what the kernel has dropped since the socket was made, modulo 2^32, if it says
    std::optional<uint32_t> dropped() const { return dropped_; }

  private:
    struct Control {
        alignas(cmsghdr) char bytes[CMSG_SPACE(sizeof(uint32_t))];
    };
    // Not a multiple of a page: what comes first in each place would share few lines of the cache.
    static constexpr size_t kPlace = kMostBytes + 320;

    void look_for_drops(msghdr& header);

    std::unique_ptr<uint8_t[]> bytes_;
    std::array<Control, kMostDatagrams> controls_;
    std::array<iovec, kMostDatagrams> places_;
    std::array<mmsghdr, kMostDatagrams> messages_;
    std::array<std::span<const uint8_t>, kMostDatagrams> found_;
    size_t count_ = 0;
    std::optional<uint32_t> dropped_;
};

class DatagramSocket {
  public:
    // -> why it does not open; empty when it is open
    std::string open(const std::string& url);

    int fd() const { return url_.socket(); }

    // -> bytes of receive buffer that were asked for and are not there; 0 when all are
    struct Shortage {
        int wanted;
        int granted;
        bool by_url;  // the URL asked for them
    };
    std::optional<Shortage> shortage() const;

    // -> what the kernel has dropped since the call before
    uint64_t new_drops(const DatagramBatch& batch);

  private:
    UrlHandle url_{kNoWait_ms};
    uint32_t dropped_ = 0;

    static constexpr int kNoWait_ms = 1;
};

// -> true when opening it looks up no name, which may take long
bool opens_at_once(const std::string& url);

}  // namespace zvprobe
