// SPDX-License-Identifier: MIT
// Implementation of ts_feed.h. The resolver itself tells where step is lost: while nothing is
// wrong, the bytes are looked at once, by the library.
#include "ts_feed.h"

#include <algorithm>
#include <array>
#include <utility>

#include "interrupt.h"
#include "text_parts.h"

namespace zvprobe {
namespace {

// As many packets as one datagram carries.
constexpr size_t kPacedPackets = 7;
// So many headers stay in the cache for those who look at them behind the resolver.
constexpr size_t kPackets = 256;

size_t count_packets_in_step(std::span<const uint8_t> packets, size_t packet_size) {
    size_t at = 0;
    while (at < packets.size() && packets[at] == kSyncByte)
        at += packet_size;
    return at / packet_size;
}

}  // namespace

TsFeed::TsFeed(Resolver& resolver, const SyncPoint& first, const FeedOptions& options,
               Findings& findings)
    : resolver_(resolver),
      options_(options),
      findings_(findings),
      packet_size_(first.packet_size),
      prefix_(first.packet_size == kTimedPacketSize ? kTimeCodeSize : 0),
      bytes_to_pass_(first.offset) {
    reading_.packet_size = static_cast<uint32_t>(packet_size_);
    reading_.first_sync_offset = first.offset;
    reading_.skipped_bytes = first.offset - std::min(first.offset, prefix_);
    tell(first.offset, reading_.skipped_bytes, " before the first packet");
}

size_t TsFeed::take(std::span<const uint8_t> window, bool last) {
    size_t taken = std::min(std::exchange(bytes_to_pass_, 0), window.size());
    reading_.bytes += taken;
    for (bool moved = true; moved && !stopped();) {
        const bool was_in_sync = in_sync_;
        const auto rest = window.subspan(taken);
        const size_t step = in_sync_ ? feed_packets(rest) : find_packet(rest, last);
        taken += step;
        reading_.bytes += step;
        moved = step > 0 || in_sync_ != was_in_sync;
    }
    if (!last || stopped()) return taken;
    feed_end(window.subspan(taken));
    reading_.bytes += window.size() - taken;
    return window.size();
}

// What has been read is looked at even after a signal, unless that takes time.
bool TsFeed::stopped() const {
    return options_.paced && interrupted();
}

size_t TsFeed::feed_packets(std::span<const uint8_t> rest) {
    size_t count = std::min(rest.size() / packet_size_, options_.paced ? kPacedPackets : kPackets);
    // The library settles the packet size on the first bytes it sees: these are known to be a run.
    if (reading_.packets == 0) count = std::min(count, kSyncRun);
    return count == 0 ? 0 : parse(rest.first(count * packet_size_));
}

size_t TsFeed::parse(std::span<const uint8_t> packets) {
    const bool in_step = resolver_.parse(packets.data(), packets.size(), options_.parse_options);
    const size_t taken =
        in_step ? packets.size() : count_packets_in_step(packets, packet_size_) * packet_size_;
    if (taken > 0) options_.on_packets(packets.first(taken), reading_.bytes);
    if (!in_step) lose_sync(reading_.bytes + taken);
    reading_.packets += taken / packet_size_;
    return taken;
}

void TsFeed::lose_sync(uint64_t offset) {
    in_sync_ = false;
    skipped_now_ = 0;
    reading_.losses.add({offset, 0});
    if (findings_.next()) findings_.tell(offset, "sync lost");
}

void TsFeed::skip(size_t count) {
    reading_.skipped_bytes += count;
    skipped_now_ += count;
    if (Gap* const loss = reading_.losses.last()) loss->bytes += count;
}

// Tells of bytes, if there are any.
void TsFeed::tell(uint64_t offset, uint64_t count, const char* what) {
    if (count != 0 && findings_.next())
        findings_.tell(offset, counted(count, "byte", "bytes") + what);
}

size_t TsFeed::find_packet(std::span<const uint8_t> rest, bool last) {
    const Resync next = find_next_packet(rest, 0, packet_size_, last);
    skip(next.offset);
    in_sync_ = next.found;
    if (in_sync_) tell(reading_.bytes + next.offset, skipped_now_, " skipped, in sync again");
    return next.offset;
}

// A time code stands before its packet, so behind the last packet there is none, and a packet that
// is cut off, or never comes, leaves one that went along with the packet before.
void TsFeed::feed_end(std::span<const uint8_t> rest) {
    if (!in_sync_) {
        skip(prefix_);
        return tell(reading_.bytes, skipped_now_, " skipped up to the end");
    }
    reading_.trailing_bytes = rest.size() + prefix_;
    if (reading_.trailing_bytes >= packet_size_ && rest[0] == kSyncByte) {
        std::array<uint8_t, kTimedPacketSize> packet{};
        std::copy_n(rest.begin(), kPacketSize, packet.begin());
        parse(packet);
        reading_.trailing_bytes -= packet_size_;
    }
    tell(reading_.bytes, reading_.trailing_bytes, " of a packet that is cut off");
}

}  // namespace zvprobe
