// SPDX-License-Identifier: MIT
// The bytes between a source's pieces and the framer.
#include "mpeg/ts_tools/packet_feed.h"

#include <algorithm>
#include <cstring>

namespace zv {

void PacketFeed::append(std::span<const uint8_t> piece) {
    if (sizeof bytes_ - end_ < piece.size()) {
        memmove(bytes_, bytes_ + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    const size_t size = std::min(piece.size(), sizeof bytes_ - end_);
    memcpy(bytes_ + end_, piece.data(), size);
    end_ += size;
}

std::span<const uint8_t> PacketFeed::next() {
    for (;;) {
        const std::span<const uint8_t> rest(bytes_ + begin_, end_ - begin_);
        const Framer::Step step = framer_.next(rest, finished_);
        begin_ += step.taken;
        if (step.what == Framer::What::kPackets)
            return {step.packets, step.count * framer_.counts().packet_size};
        if (step.what == Framer::What::kNeedsMore) return {};
    }
}

PacketFeed::Counts PacketFeed::counts() const {
    const FramingCounts& counts = framer_.counts();
    return {counts.packets, counts.skipped_bytes + counts.trailing_bytes, counts.losses};
}

}  // namespace zv
