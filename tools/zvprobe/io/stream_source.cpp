// SPDX-License-Identifier: MIT
// Implementation of stream_source.h.
#include "io/stream_source.h"

#include <cerrno>
#include <cstring>

#include "rtp/rtp_header.h"

namespace zvprobe {
namespace {

// -> what a datagram of an rtp URL carries: one that is no RTP as it is, RTCP nothing
std::span<const uint8_t> payload_of(std::span<const uint8_t> datagram) {
    if (zv::is_rtcp(datagram)) return {};
    const auto packet = zv::parse_rtp(datagram);
    return packet ? packet->payload : datagram;
}

}  // namespace

StreamSource::StreamSource(const std::string& url) {
    const std::string error = url_.open(url, UrlHandle::For::kReading);
    if (!error.empty()) throw SourceError(error);
}

int StreamSource::read_once(std::span<uint8_t> room) {
    const int got = url_.read(room);
    if (got <= 0 || url_.protocol() != ZVPTC_INDEX_RTP) return got;
    const auto payload = payload_of(room.first(static_cast<size_t>(got)));
    if (payload.empty()) return -EINTR;
    std::memmove(room.data(), payload.data(), payload.size());
    return static_cast<int>(payload.size());
}

}  // namespace zvprobe
