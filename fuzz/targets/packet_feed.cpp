// SPDX-License-Identifier: MIT
// Bytes in pieces of any size cut into whole packets: all bytes are accounted for, and the pieces'
// sizes make no difference.
#include <vector>

#include "mpeg/ts_packet/ts_packet.h"
#include "mpeg/ts_tools/packet_feed.h"
#include "parts/input.h"

namespace {

constexpr size_t kMaxInput = zv::PacketFeed::kMaxPiece;

struct Outcome {
    std::vector<uint8_t> packets;
    zv::PacketFeed::Counts counts;
};

void drain(zv::PacketFeed& feed, std::vector<uint8_t>& packets) {
    for (auto run = feed.next(); !run.empty(); run = feed.next()) {
        fuzz::require(run.size() % feed.packet_size() == 0, "runs are whole packets");
        for (size_t at = 0; at < run.size(); at += feed.packet_size())
            fuzz::require(run[at] == zv::kTsSyncByte, "packets begin with a sync byte");
        packets.insert(packets.end(), run.begin(), run.end());
    }
}

template <typename NextSize>
Outcome feed_all(std::span<const uint8_t> bytes, NextSize next_size) {
    const auto feed = std::make_unique<zv::PacketFeed>();
    Outcome outcome;
    for (fuzz::ByteSource in(bytes); !in.empty();) {
        fuzz::ExactBytes piece(in.take(std::max<size_t>(next_size(), 1)));
        feed->append(piece.span());
        drain(*feed, outcome.packets);
    }
    feed->finish();
    drain(*feed, outcome.packets);
    outcome.counts = feed->counts();
    return outcome;
}

// Sync bytes at the packet size's distance from `first` on.
std::vector<uint8_t> with_sync_bytes(std::span<const uint8_t> bytes, size_t first, size_t size) {
    std::vector<uint8_t> out(bytes.begin(), bytes.end());
    for (size_t at = first; at < out.size(); at += size)
        out[at] = zv::kTsSyncByte;
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, std::min(size, kMaxInput));
    const uint8_t mode = in.u8();
    const uint8_t first = in.u8();
    fuzz::PieceSizes sizes(in);
    const auto apart = static_cast<size_t>(zv::kPacketSizes[(mode >> 1U) % 3]);
    const auto bytes = mode & 1 ? with_sync_bytes(in.rest(), first, apart)
                                : with_sync_bytes(in.rest(), SIZE_MAX, 1);

    const Outcome at_once = feed_all(bytes, [&] { return kMaxInput; });
    const Outcome in_pieces = feed_all(bytes, [&] { return size_t{sizes.next()}; });
    fuzz::require(at_once.packets == in_pieces.packets, "any pieces give the same packets");
    fuzz::require(at_once.counts.skipped_bytes == in_pieces.counts.skipped_bytes &&
                      at_once.counts.sync_losses == in_pieces.counts.sync_losses,
                  "any pieces give the same counts");
    // The first time code belongs to its packet, and may be missing, whole or in part.
    const uint64_t accounted = at_once.packets.size() + at_once.counts.skipped_bytes;
    fuzz::require(accounted >= bytes.size() && accounted <= bytes.size() + 4,
                  "every byte is in a packet or skipped");
    return 0;
}
