// SPDX-License-Identifier: MIT
// Where packets go one by one as their time comes: datagrams of seven, standard output, or nowhere.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/out_file.h"
#include "zvprotocol.h"

namespace zvprobe {

class PacketSink {
  public:
    // url: "udp://..." or "tcp://..."; "-" is standard output, "" nowhere. Throws OutputError.
    explicit PacketSink(const std::string& url);
    ~PacketSink();
    PacketSink(const PacketSink&) = delete;
    PacketSink& operator=(const PacketSink&) = delete;

    // Takes packets of any size, of which 188 bytes each go on. Throws OutputError.
    void take(std::span<const uint8_t> packets, size_t packet_size);

    // Sends what does not fill a datagram. Throws OutputError.
    void flush();

    uint64_t packets() const { return packets_; }

  private:
    void open(const std::string& url);
    int write_some(std::span<const uint8_t> bytes);

    ZvptcUrlContext context_{};
    const ZvptcHandler* handler_ = nullptr;
    bool to_stdout_ = false;
    uint64_t packets_ = 0;
    std::vector<uint8_t> pending_;
};

}  // namespace zvprobe
