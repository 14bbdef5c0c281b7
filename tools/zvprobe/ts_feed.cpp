// SPDX-License-Identifier: MIT
// Implementation of ts_feed.h. The resolver itself tells where step is lost: while nothing is
// wrong, the bytes are looked at once, by the library.
#include "ts_feed.h"

#include <algorithm>
#include <array>
#include <utility>

#include "interrupt.h"

namespace zvprobe {
namespace {

// As many packets as one datagram carries.
constexpr size_t kPacedPackets = 7;

size_t count_packets_in_step(std::span<const uint8_t> packets, size_t packet_size) {
    size_t at = 0;
    while (at < packets.size() && packets[at] == kSyncByte)
        at += packet_size;
    return at / packet_size;
}

}  // namespace

TsFeed::TsFeed(Resolver& resolver, const SyncPoint& first, const FeedOptions& options)
    : resolver_(resolver),
      options_(options),
      packet_size_(first.packet_size),
      prefix_(first.packet_size == kTimedPacketSize ? kTimeCodeSize : 0),
      bytes_to_pass_(first.offset) {
    reading_.packet_size = static_cast<uint32_t>(packet_size_);
    reading_.first_sync_offset = first.offset;
    reading_.skipped_bytes = first.offset - std::min(first.offset, prefix_);
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
    size_t count = rest.size() / packet_size_;
    if (options_.paced) count = std::min(count, kPacedPackets);
    // The library settles the packet size on the first bytes it sees: these are known to be a run.
    if (reading_.packets == 0) count = std::min(count, kSyncRun);
    return count == 0 ? 0 : parse(rest.first(count * packet_size_));
}

size_t TsFeed::parse(std::span<const uint8_t> packets) {
    size_t taken = packets.size();
    if (!resolver_.parse(packets.data(), packets.size(), options_.parse_options)) {
        taken = count_packets_in_step(packets, packet_size_) * packet_size_;
        lose_sync(reading_.bytes + taken);
    }
    if (options_.table_watch != nullptr)
        options_.table_watch->see(packets.first(taken), packet_size_);
    if (options_.on_packets && taken > 0) options_.on_packets(packets.first(taken));
    reading_.packets += taken / packet_size_;
    return taken;
}

void TsFeed::lose_sync(uint64_t offset) {
    in_sync_ = false;
    ++reading_.sync_losses;
    if (reading_.losses.size() < TsReading::kMaxListedLosses)
        reading_.losses.push_back({offset, 0});
}

void TsFeed::skip(size_t count) {
    reading_.skipped_bytes += count;
    if (reading_.sync_losses == reading_.losses.size()) reading_.losses.back().skipped += count;
}

size_t TsFeed::find_packet(std::span<const uint8_t> rest, bool last) {
    const Resync next = find_next_packet(rest, 0, packet_size_, last);
    skip(next.offset);
    in_sync_ = next.found;
    return next.offset;
}

// A time code stands before its packet, so behind the last packet there is none, and a packet that
// is cut off, or never comes, leaves one that went along with the packet before.
void TsFeed::feed_end(std::span<const uint8_t> rest) {
    if (!in_sync_) return skip(prefix_);
    reading_.trailing_bytes = rest.size() + prefix_;
    const bool whole = rest.size() + prefix_ >= packet_size_ && rest[0] == kSyncByte;
    if (!whole) return;
    std::array<uint8_t, kTimedPacketSize> packet{};
    std::copy_n(rest.begin(), kPacketSize, packet.begin());
    parse(packet);
    reading_.trailing_bytes -= packet_size_;
}

}  // namespace zvprobe
