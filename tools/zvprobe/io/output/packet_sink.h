// SPDX-License-Identifier: MIT
// Where packets go as their time comes: datagrams of seven, with or without RTP (RFC 2250), a
// connection, or standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "io/output/out_file.h"
#include "io/url_handle.h"
#include "rtp/rtp_header.h"

namespace zvprobe {

class PacketSink {
  public:
    // url: "udp://...", "rtp://..." or "tcp://..."; "-" is standard output, "" nowhere. Throws
    // OutputError.
    explicit PacketSink(const std::string& url);
    PacketSink(const PacketSink&) = delete;
    PacketSink& operator=(const PacketSink&) = delete;

    // Takes packets of 188 bytes. Throws OutputError.
    // time_s: when the first of them is due, for the time stamp of RTP
    void take(std::span<const uint8_t> packets, double time_s);

    // Sends what does not fill a datagram. Throws OutputError.
    void flush();

    uint64_t packets() const { return packets_; }

  private:
    void begin_datagram(double time_s);
    void write(std::span<const uint8_t> bytes);

    UrlHandle url_;
    std::optional<OutFile> stdout_;
    std::optional<zv::RtpPacket> rtp_;  // the head of the next datagram
    uint32_t first_time_stamp_ = 0;
    uint64_t packets_ = 0;
    size_t pending_packets_ = 0;
    std::vector<uint8_t> pending_;
};

}  // namespace zvprobe
