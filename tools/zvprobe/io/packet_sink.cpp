// SPDX-License-Identifier: MIT
// Implementation of packet_sink.h.
#include "io/packet_sink.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/interrupt.h"
#include "ts/ts_sync.h"

namespace zvprobe {
namespace {

// What an Ethernet frame carries.
constexpr size_t kDatagramSize = 7 * kPacketSize;

}  // namespace

PacketSink::PacketSink(const std::string& url) : to_stdout_(url == "-") {
    pending_.reserve(kDatagramSize);
    if (!url.empty() && !to_stdout_) open(url);
}

PacketSink::~PacketSink() {
    if (handler_ == nullptr) return;
    handler_->close(&context_);
    zvptc_api_deinit();
}

void PacketSink::open(const std::string& url) {
    if (url.size() >= sizeof context_.url) throw OutputError(std::strerror(ENAMETOOLONG));
    url.copy(context_.url, url.size());
    context_.open_flags = ZVPTC_OPEN_WRITE;
    const ZvptcHandler* const handler =
        zvptc_api_matchByPtcindex(zvptc_api_getPtcindex(url.c_str(), 0, 0));
    if (handler == nullptr) throw OutputError("unknown protocol");
    zvptc_api_init();
    const int opened = handler->open(&context_);
    if (opened < 0) {
        zvptc_api_deinit();
        throw OutputError(std::strerror(-opened));
    }
    handler_ = handler;
}

void PacketSink::take(std::span<const uint8_t> packets, size_t packet_size) {
    for (size_t at = 0; at + kPacketSize <= packets.size(); at += packet_size) {
        const auto packet = packets.subspan(at, kPacketSize);
        pending_.insert(pending_.end(), packet.begin(), packet.end());
        ++packets_;
        if (pending_.size() == kDatagramSize) flush();
    }
}

int PacketSink::write_some(std::span<const uint8_t> bytes) {
    if (handler_ != nullptr)
        return handler_->write(&context_, bytes.data(), static_cast<int>(bytes.size()));
    if (!to_stdout_) return static_cast<int>(bytes.size());
    const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    return written < 0 ? -errno : static_cast<int>(written);
}

void PacketSink::flush() {
    std::span<const uint8_t> rest = pending_;
    while (!rest.empty()) {
        const int written = write_some(rest);
        if (written < 0 && (written != -EINTR || interrupted()))
            throw OutputError(std::strerror(-written));
        if (written > 0) rest = rest.subspan(static_cast<size_t>(written));
    }
    pending_.clear();
}

}  // namespace zvprobe
