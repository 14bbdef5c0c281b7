// SPDX-License-Identifier: MIT
// Implementation of packet_sink.h.
#include "io/output/packet_sink.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>

#include "base/interrupt.h"
#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {
namespace {

constexpr size_t kTogether = 7;  // packets that an Ethernet frame carries

}  // namespace

PacketSink::PacketSink(const std::string& url) {
    if (url == "-") {
        stdout_.emplace(url);
    } else if (!url.empty()) {
        const std::string error = url_.open(url, UrlHandle::For::kWriting);
        if (!error.empty()) throw OutputError(error);
    }
    if (!url_.is_open() || url_.protocol() != ZVPTC_INDEX_RTP) return;
    // All three begin at random (RFC 3550, 5.1).
    std::random_device random;
    rtp_ = zv::RtpPacket{static_cast<uint16_t>(random()), random(), {}};
    first_time_stamp_ = random();
}

void PacketSink::take(std::span<const uint8_t> packets, double time_s) {
    for (; !packets.empty(); packets = packets.subspan(zv::kTsPacketSize)) {
        if (pending_packets_ == 0) begin_datagram(time_s);
        const auto packet = packets.first(zv::kTsPacketSize);
        pending_.insert(pending_.end(), packet.begin(), packet.end());
        ++packets_;
        if (++pending_packets_ == kTogether) flush();
    }
}

void PacketSink::begin_datagram(double time_s) {
    if (!rtp_) return;
    const auto ticks = static_cast<uint64_t>(std::llround(time_s * zv::kRtpHz));
    rtp_->time_stamp = first_time_stamp_ + static_cast<uint32_t>(ticks);
    const auto head = zv::make_rtp_head(*rtp_);
    pending_.assign(head.begin(), head.end());
    ++rtp_->sequence;
}

void PacketSink::flush() {
    write(pending_);
    pending_.clear();
    pending_packets_ = 0;
}

void PacketSink::write(std::span<const uint8_t> bytes) {
    if (stdout_) {
        stdout_->write(bytes);
        return stdout_->flush();
    }
    while (url_.is_open() && !bytes.empty()) {
        const int written = url_.write(bytes);
        if (written < 0 && (written != -EINTR || interrupted()))
            throw OutputError(std::strerror(-written));
        if (written > 0) bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

}  // namespace zvprobe
