// SPDX-License-Identifier: MIT
// First pass of the reference survey: packet size, sync and the fields of each packet.
#include <algorithm>

#include "packets.h"

namespace fuzz::reference {
namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr size_t kSyncRun = 5;
constexpr size_t kTimedSize = 192;
constexpr size_t kParitySize = 204;
constexpr size_t kTimeCodeSize = 4;
constexpr size_t kSizes[] = {kPacketBytes, kTimedSize, kParitySize};

struct SyncPoint {
    size_t offset;
    size_t packet_size;
};

// Five packet starts in a row, all inside the input.
bool is_long_run(Bytes bytes, size_t at, size_t size) {
    for (size_t k = 0; k < kSyncRun; ++k) {
        if (at + k * size >= bytes.size() || bytes[at + k * size] != kSyncByte) return false;
    }
    return true;
}

// Packet starts as far as the input goes, five at most.
bool is_run_to_the_end(Bytes bytes, size_t at, size_t size) {
    for (size_t k = 0; k < kSyncRun && at + k * size < bytes.size(); ++k) {
        if (bytes[at + k * size] != kSyncByte) return false;
    }
    return true;
}

// When the column of the time codes looks like one of packet starts, the column after it is right
// if it may be one as well.
std::optional<SyncPoint> start_at(Bytes bytes, size_t at, size_t size) {
    const size_t later = at + kTimeCodeSize;
    const bool timed = size == kTimedSize;
    if (timed && is_long_run(bytes, at, size) && is_run_to_the_end(bytes, later, size)) {
        if (is_long_run(bytes, later, size)) return SyncPoint{later, size};
        return std::nullopt;  // the later one begins too close to the end to be sure of
    }
    if (is_long_run(bytes, at, size)) return SyncPoint{at, size};
    return std::nullopt;
}

bool plausible_header(Bytes packet) {
    return (packet[1] & 0x80) == 0 && (packet[3] & 0xC0) != 0x40 && (packet[3] & 0x30) != 0;
}

std::optional<SyncPoint> find_short_run(Bytes bytes) {
    for (const size_t size : kSizes) {
        const size_t at = size == kTimedSize ? kTimeCodeSize : 0;
        if (bytes.size() < size || at + kPacketBytes > bytes.size()) continue;
        if (is_run_to_the_end(bytes, at, size) && plausible_header(bytes.subspan(at)))
            return SyncPoint{at, size};
    }
    return std::nullopt;
}

std::optional<SyncPoint> find_first_packet(Bytes bytes) {
    for (size_t at = 0; at < bytes.size(); ++at) {
        if (bytes[at] != kSyncByte) continue;
        for (const size_t size : kSizes) {
            if (const auto found = start_at(bytes, at, size)) return found;
        }
    }
    return find_short_run(bytes);
}

// Walks the places of packets from the first one on.
class Framer {
  public:
    Framer(Bytes bytes, const SyncPoint& first) : bytes_(bytes), at_(first.offset) {
        out_.packet_size = first.packet_size;
        out_.bytes = bytes.size();
        out_.first_sync_offset = first.offset;
        out_.leading_bytes = first.offset - std::min(first.offset, prefix());
        out_.skipped_bytes = out_.leading_bytes;
    }

    Framing run() {
        while (is_whole(at_)) {
            if (bytes_[at_] == kSyncByte) {
                add_packet();
            } else if (is_whole(at_ + out_.packet_size) &&
                       bytes_[at_ + out_.packet_size] != kSyncByte) {
                if (!find_sync_again()) return std::move(out_);
            } else {
                out_.byte_errors.push_back(at_);
                out_.skipped_bytes += out_.packet_size;
                at_ += out_.packet_size;
            }
        }
        const size_t cell = at_ - std::min(at_, prefix());
        out_.trailing_bytes = bytes_.size() - std::min(cell, bytes_.size());
        return std::move(out_);
    }

  private:
    // What stands before a sync byte and belongs to its packet.
    size_t prefix() const { return out_.packet_size == kTimedSize ? kTimeCodeSize : 0; }

    bool is_whole(size_t at) const {
        const size_t needed = out_.packet_size == kParitySize ? kParitySize : kPacketBytes;
        return at + needed <= bytes_.size();
    }

    // A run of starts at places of whole packets, five or up to the end.
    bool is_start(size_t at) const {
        if (!is_whole(at)) return false;
        for (size_t k = 0; k < kSyncRun && is_whole(at + k * out_.packet_size); ++k) {
            if (bytes_[at + k * out_.packet_size] != kSyncByte) return false;
        }
        return true;
    }

    // The time code of a packet in step with those before the loss, while those after it go on.
    bool is_time_code_in_step(size_t at, size_t lost) const {
        const size_t packet = at + prefix();
        return prefix() != 0 && (packet - lost) % out_.packet_size == 0 && packet < bytes_.size() &&
               bytes_[packet] != kSyncByte && is_start(packet + out_.packet_size);
    }

    // -> false when the rest of the input is lost
    bool find_sync_again() {
        const size_t lost = at_;
        out_.byte_errors.push_back(lost);
        out_.byte_errors.push_back(lost + out_.packet_size);
        while (is_whole(at_) && !is_start(at_))
            ++at_;
        if (!is_whole(at_)) {
            // The time code of the first packet that is missing is skipped with it.
            out_.losses.push_back({lost, bytes_.size() - lost});
            out_.skipped_bytes += bytes_.size() - lost + std::min(lost, prefix());
            return false;
        }
        if (prefix() != 0 && is_start(at_ + prefix()))
            at_ += prefix();
        else if (is_time_code_in_step(at_, lost))
            at_ += prefix() + out_.packet_size;
        out_.losses.push_back({lost, at_ - lost});
        out_.skipped_bytes += at_ - lost;
        return true;
    }

    void add_packet();

    Bytes bytes_;
    size_t at_;
    Framing out_;
};

// An adaptation field that runs over the packet leaves no payload, but is read as far as it goes.
void read_adaptation_field(Packet& packet) {
    const Bytes bytes = packet.bytes;
    const size_t length = bytes[4];
    if (length == 0) return;
    const uint8_t flags = bytes[5];
    packet.discontinuity = (flags & 0x80) != 0;
    packet.random_access = (flags & 0x40) != 0;
    if ((flags & 0x10) == 0 || length < 7) return;
    uint64_t base = 0;
    for (size_t i = 6; i < 10; ++i)
        base = base << 8 | bytes[i];
    base = base << 1 | bytes[10] >> 7;
    packet.pcr = base * 300 + static_cast<uint64_t>((bytes[10] & 1) << 8 | bytes[11]);
}

Packet read_packet(Bytes bytes, uint64_t offset) {
    Packet packet{};
    packet.offset = offset;
    packet.bytes = bytes;
    packet.pid = static_cast<uint16_t>((bytes[1] & 0x1F) << 8 | bytes[2]);
    packet.counter = bytes[3] & 0x0F;
    packet.transport_error = (bytes[1] & 0x80) != 0;
    packet.unit_start = (bytes[1] & 0x40) != 0;
    packet.scrambled = (bytes[3] & 0xC0) != 0;
    packet.has_payload = (bytes[3] & 0x10) != 0;
    const bool has_adaptation_field = (bytes[3] & 0x20) != 0;
    if (has_adaptation_field) read_adaptation_field(packet);
    const size_t payload_at = has_adaptation_field ? size_t{5} + bytes[4] : size_t{4};
    if (packet.has_payload && payload_at < kPacketBytes) packet.payload = bytes.subspan(payload_at);
    return packet;
}

void Framer::add_packet() {
    out_.packets.push_back(read_packet(bytes_.subspan(at_, kPacketBytes), at_));
    at_ += out_.packet_size;
}

}  // namespace

std::optional<Framing> read_framing(Bytes bytes) {
    const auto first = find_first_packet(bytes);
    if (!first) return std::nullopt;
    return Framer(bytes, *first).run();
}

}  // namespace fuzz::reference
