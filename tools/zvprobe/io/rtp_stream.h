// SPDX-License-Identifier: MIT
// A transport stream out of datagrams: RTP (RFC 3550, RFC 2250) in order, RTCP and what carries no
// transport stream left out, or datagrams of packets without RTP as they come.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "rtp/rtp_header.h"
#include "rtp/rtp_sequence.h"

namespace zvprobe {

// How long a packet is waited for that others have overtaken.
struct RtpWindow {
    static constexpr int kMostPackets = zv::RtpSequence::kMostWindow;
    static constexpr int kMostTime_ms = 10'000;

    int packets = 128;
    int time_ms = 200;
};

struct RtpCounts : zv::RtpSequence::Counts {
    uint64_t rtcp = 0;       // datagrams of RTCP
    uint64_t other = 0;      // RTP of another payload type: forward error correction, sound, ...
    uint64_t bad = 0;        // neither RTP nor RTCP
    uint64_t unaligned = 0;  // payloads that are no whole packets: taken as they are
    std::optional<uint8_t> payload_type = {};  // of the latest payload that was taken
};

class RtpStream {
  public:
    using Time = std::chrono::steady_clock::time_point;
    using Take = std::function<void(std::span<const uint8_t> bytes)>;

    // take: gets the payloads in order; their bytes last for the call
    RtpStream(const RtpWindow& window, Take take);
    RtpStream(const RtpStream&) = delete;
    RtpStream& operator=(const RtpStream&) = delete;

    // Takes a datagram that came now.
    void put(std::span<const uint8_t> datagram, Time now);

    // Time passes although nothing comes.
    void tick(Time now);

    // Delivers what is still held.
    void finish() { sequence_.flush(); }

    // -> true when the datagrams are packets without RTP
    bool is_plain() const { return framing_ == Framing::kPlain; }

    RtpCounts counts() const;

  private:
    using Framing = zv::DatagramFraming;
    struct Held {
        Time since;
        std::vector<uint8_t> bytes;
    };

    static void deliver(void* self, size_t slot);
    bool carries_packets(const zv::RtpPacket& packet) const;
    void put_in_order(const zv::RtpPacket& packet, Time now);
    void look_for_gap();

    const std::chrono::milliseconds most_wait_;
    Take take_;
    zv::RtpSequence sequence_;
    std::vector<Held> held_;         // by slot
    std::optional<Time> gap_since_;  // when the first of those held came; nothing: none is held
    bool delivered_ = false;         // since gap_since_ was looked for
    Framing framing_ = Framing::kUnknown;
    RtpCounts counts_;  // but for those of the sequence
};

}  // namespace zvprobe
