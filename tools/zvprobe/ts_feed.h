// SPDX-License-Identifier: MIT
// From windows of bytes to whole packets in the resolver: keeps step, finds the next packet after
// lost sync, and accounts for every byte.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "findings.h"
#include "resolver.h"
#include "ts_report.h"
#include "ts_sync.h"

namespace zvprobe {

struct FeedOptions {
    uint32_t parse_options = ZV_TS_CHECK_CC;
    bool paced = false;  // the resolver sleeps, so it is called for few packets

    // Gets every packet once the resolver has seen it. offset: of the first one's sync byte
    std::function<void(std::span<const uint8_t> packets, uint64_t offset)> on_packets;
};

class TsFeed {
  public:
    // first: where the first packet starts in the first window
    TsFeed(Resolver& resolver, const SyncPoint& first, const FeedOptions& options,
           Findings& findings);

    // Takes what it can from the window: everything when the input ends with it, otherwise all but
    // at most Source::kMaxKept bytes, which the next window has to begin with.
    // -> bytes taken (fewer when a signal came while pacing)
    size_t take(std::span<const uint8_t> window, bool last);

    const TsReading& reading() const { return reading_; }

  private:
    bool stopped() const;
    size_t find_packet(std::span<const uint8_t> rest, bool last);
    size_t feed_packets(std::span<const uint8_t> rest);
    void feed_end(std::span<const uint8_t> rest);
    size_t parse(std::span<const uint8_t> packets);
    void lose_sync(uint64_t offset);
    void skip(size_t count);
    void tell(uint64_t offset, uint64_t count, const char* what);

    Resolver& resolver_;
    FeedOptions options_;
    Findings& findings_;
    size_t packet_size_;
    size_t prefix_;         // bytes that stand before a packet's sync byte and belong to it
    size_t bytes_to_pass_;  // before the first packet
    bool in_sync_ = true;
    uint64_t skipped_now_ = 0;  // since sync was lost
    TsReading reading_;
};

}  // namespace zvprobe
