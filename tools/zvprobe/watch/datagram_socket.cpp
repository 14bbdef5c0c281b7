// SPDX-License-Identifier: MIT
// Implementation of datagram_socket.h.
#include "watch/datagram_socket.h"

#include <arpa/inet.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "base/numbers.h"

namespace zvprobe {
namespace {

// What the protocol library asks for when the URL does not say.
constexpr int kUsualBuffer = 1 << 20;

// The kernel counts its own bookkeeping, and doubles what is asked for.
int receive_buffer(int fd) {
    int bytes = 0;
    socklen_t size = sizeof bytes;
    getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, &size);
    return bytes / 2;
}

// -> what the query of a URL asks for; nothing when it does not
std::optional<int> wanted_buffer(const char* query) {
    constexpr std::string_view kOption = "rcvbuf=";
    std::optional<int> wanted;
    for (const std::string_view option : split(query, '&')) {
        if (!option.starts_with(kOption)) continue;
        int bytes = 0;
        const std::string_view digits = option.substr(kOption.size());
        std::from_chars(digits.data(), digits.data() + digits.size(), bytes);
        wanted = bytes;
    }
    return wanted;
}

}  // namespace

DatagramBatch::DatagramBatch() : bytes_(new uint8_t[kMostDatagrams * kPlace]) {}

int DatagramBatch::receive(int fd) {
    for (size_t i = 0; i < kMostDatagrams; ++i) {
        places_[i] = {bytes_.get() + i * kPlace, kMostBytes};
        messages_[i] = {};
        messages_[i].msg_hdr.msg_iov = &places_[i];
        messages_[i].msg_hdr.msg_iovlen = 1;
        messages_[i].msg_hdr.msg_control = controls_[i].bytes;
        messages_[i].msg_hdr.msg_controllen = sizeof controls_[i].bytes;
    }
    count_ = 0;
    dropped_.reset();
    const int got = recvmmsg(fd, messages_.data(), kMostDatagrams, MSG_DONTWAIT, nullptr);
    if (got < 0) return -errno;
    for (size_t i = 0; i < static_cast<size_t>(got); ++i) {
        look_for_drops(messages_[i].msg_hdr);
        if (messages_[i].msg_len == 0) continue;
        found_[count_++] = {bytes_.get() + i * kPlace, messages_[i].msg_len};
    }
    return got;
}

void DatagramBatch::look_for_drops(msghdr& header) {
    for (cmsghdr* entry = CMSG_FIRSTHDR(&header); entry; entry = CMSG_NXTHDR(&header, entry)) {
        if (entry->cmsg_level != SOL_SOCKET || entry->cmsg_type != SO_RXQ_OVFL) continue;
        uint32_t dropped = 0;
        std::memcpy(&dropped, CMSG_DATA(entry), sizeof dropped);
        dropped_ = dropped;
    }
}

std::string DatagramSocket::open(const std::string& url) {
    std::string error = url_.open(url, UrlHandle::For::kReading);
    if (!error.empty()) return error;
    const int on = 1;
    setsockopt(fd(), SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
    return {};
}

std::optional<DatagramSocket::Shortage> DatagramSocket::shortage() const {
    const std::optional<int> by_url = wanted_buffer(url_.query());
    const int wanted = by_url.value_or(kUsualBuffer);
    const int granted = receive_buffer(fd());
    if (granted >= wanted) return std::nullopt;
    return Shortage{wanted, granted, by_url.has_value()};
}

uint64_t DatagramSocket::new_drops(const DatagramBatch& batch) {
    if (!batch.dropped()) return 0;
    const uint32_t grown = *batch.dropped() - dropped_;
    dropped_ = *batch.dropped();
    return grown;
}

bool opens_at_once(const std::string& url) {
    ZvptcUrlInfo info{};
    if (zvptc_api_urlSplit_urlinfo(&info, url.c_str()) < 0) return true;
    in6_addr address;
    return info.hostname[0] == '\0' || inet_pton(AF_INET, info.hostname, &address) == 1 ||
           inet_pton(AF_INET6, info.hostname, &address) == 1;
}

}  // namespace zvprobe
