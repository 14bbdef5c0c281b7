// SPDX-License-Identifier: MIT
// Implementation of framing.h. Every place costs a bounded number of looks, so any input is searched
// in linear time.
#include "mpeg/ts_packet/framing.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace zv {
namespace {

// So many packet starts in a row are no accident: one in 10^12 places of random bytes.
constexpr size_t kSyncRun = 5;

// Packets given in one step. While these are looked at, the memory brings those of the next step: with
// larger steps it waits for the looking, and the looking for it (one step of 64 is a third slower).
constexpr size_t kMostPackets = 32;

constexpr size_t kPacketsAhead = 32;  // those to ask the memory for

size_t find_sync_byte(std::span<const uint8_t> bytes, size_t from) {
    if (from >= bytes.size()) return bytes.size();
    const void* const found = std::memchr(bytes.data() + from, kTsSyncByte, bytes.size() - from);
    return found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data())
                 : bytes.size();
}

// What of a packet stands from its sync byte on; a time code stands before it.
size_t whole_packet_of(size_t packet_size) {
    return packet_size == kTimeCodedPacketSize ? kTsPacketSize : packet_size;
}

// Do packets start at `first` and at the places that follow, as far as `needed` bytes are there?
// -> how many of up to kSyncRun places carry a sync byte; 0 when one does not
size_t run_at(std::span<const uint8_t> bytes, size_t first, size_t packet_size, size_t needed) {
    size_t count = 0;
    for (size_t at = first; count < kSyncRun && at + needed <= bytes.size();
         at += packet_size, ++count) {
        if (bytes[at] != kTsSyncByte) return 0;
    }
    return count;
}

// The first byte of a time code can be 0x47 for many packets. When both columns look like starts,
// the later one is right: the byte after a packet header hardly ever repeats that value.
size_t column_of(std::span<const uint8_t> bytes, size_t at, size_t packet_size, size_t run) {
    const bool later = packet_size == kTimeCodedPacketSize &&
                       run_at(bytes, at + kTimeCodeSize, packet_size, 1) >= run;
    return later ? at + kTimeCodeSize : at;
}

struct SyncPoint {
    size_t offset;
    size_t packet_size;
};

std::optional<SyncPoint> long_run_at(std::span<const uint8_t> bytes, size_t at) {
    for (const int packet_size : kPacketSizes) {
        const auto size = static_cast<size_t>(packet_size);
        if (run_at(bytes, at, size, 1) == kSyncRun)
            return SyncPoint{column_of(bytes, at, size, kSyncRun), size};
    }
    return std::nullopt;
}

// A text may begin with a 'G' as well, but hardly goes on like a packet header: no transport error,
// scrambling control not the reserved 01, adaptation field control not the reserved 00.
bool plausible_header(const uint8_t* packet) {
    const HeaderWord head = {load_be32(packet)};
    return head.transport_error_indicator() == 0 && head.transport_scrambling_control() != 1 &&
           head.adaptation_field_control() != kAfcReserved;
}

// An input of fewer packets than a run has is a stream when it is nothing but packets.
std::optional<SyncPoint> whole_input_run(std::span<const uint8_t> bytes) {
    for (const int packet_size : kPacketSizes) {
        const auto size = static_cast<size_t>(packet_size);
        const size_t at = size == kTimeCodedPacketSize ? kTimeCodeSize : 0;
        const size_t run = run_at(bytes, at, size, whole_packet_of(size));
        const size_t rest = at + run * size;
        if (run == 0 || (rest < bytes.size() && bytes[rest] != kTsSyncByte)) continue;
        if (plausible_header(bytes.data() + at)) return SyncPoint{at, size};
    }
    return std::nullopt;
}

}  // namespace

size_t Framer::time_code_size() const {
    return counts_.packet_size == kTimeCodedPacketSize ? kTimeCodeSize : 0;
}

size_t Framer::whole_packet() const {
    return whole_packet_of(counts_.packet_size);
}

Framer::Step Framer::take(Step step) {
    offset_ += step.taken;
    return step;
}

void Framer::skip(size_t count) {
    counts_.skipped_bytes += count;
    counts_.loss_skipped_bytes += count;
}

Framer::Step Framer::next(std::span<const uint8_t> rest, bool last) {
    switch (phase_) {
        case Phase::kFirst:
            return find_first(rest, last);
        case Phase::kInSync:
            return step_in_sync(rest, last);
        case Phase::kLost:
            return find_again(rest, last);
        case Phase::kEnded:
            break;
    }
    return {What::kNeedsMore};
}

Framer::Step Framer::find_first(std::span<const uint8_t> rest, bool last) {
    if (!last && rest.size() < kLookAhead) return {What::kNeedsMore};
    const size_t places = last ? rest.size() : rest.size() - kLookAhead + 1;
    const auto sought = rest.first(places);
    std::optional<SyncPoint> first;
    size_t at = find_sync_byte(sought, 0);
    while (at < places && !(first = long_run_at(rest, at)))
        at = find_sync_byte(sought, at + 1);
    if (!first && last && offset_ == 0) first = whole_input_run(rest);
    if (!first) {
        counts_.skipped_bytes += places;
        if (last) phase_ = Phase::kEnded;
        return take({What::kPassed, places});
    }
    phase_ = Phase::kInSync;
    counts_.packet_size = first->packet_size;
    counts_.first_sync_offset = offset_ + first->offset;
    // The first packet's time code, whole or cut, belongs to the packet.
    counts_.skipped_bytes = skipped_first_ =
        counts_.first_sync_offset - std::min<uint64_t>(counts_.first_sync_offset, time_code_size());
    return take({What::kPassed, first->offset});
}

Framer::Step Framer::step_in_sync(std::span<const uint8_t> rest, bool last) {
    const size_t size = counts_.packet_size;
    const size_t most = std::min(rest.size() / size, kMostPackets);
    size_t count = 0;
    for (const uint8_t* at = rest.data(); count < most && *at == kTsSyncByte; ++count, at += size)
        prefetch_packet(at, kPacketsAhead * size);
    if (count > 0) {
        counts_.packets += count;
        return take({What::kPackets, count * size, rest.data(), count});
    }
    if (rest.size() >= whole_packet() && rest[0] != kTsSyncByte) return no_sync_byte(rest, last);
    return last ? end_in_sync(rest) : Step{What::kNeedsMore};
}

Framer::Step Framer::no_sync_byte(std::span<const uint8_t> rest, bool last) {
    const size_t size = counts_.packet_size;
    const bool second_is_whole = rest.size() >= size + whole_packet();
    if (!second_is_whole && !last) return {What::kNeedsMore};
    if (second_is_whole && rest[size] != kTsSyncByte) {
        phase_ = Phase::kLost;
        lost_at_ = offset_;
        counts_.byte_errors += 2;
        ++counts_.losses;
        counts_.loss_skipped_bytes = 0;
        return {What::kLoss};
    }
    ++counts_.byte_errors;
    counts_.skipped_bytes += size;
    if (rest.size() >= size) return take({What::kByteError, size});
    // The last place of a 192-byte stream: its own time code counts, and no other follows.
    phase_ = Phase::kEnded;
    counts_.trailing_bytes = rest.size() - whole_packet();
    return take({What::kByteError, rest.size()});
}

// A time code stands before its packet, so after the last packet there is none, and a packet that is
// cut off, or never comes, leaves one that was taken along with the packet before.
Framer::Step Framer::end_in_sync(std::span<const uint8_t> rest) {
    phase_ = Phase::kEnded;
    if (rest.size() < whole_packet()) {
        counts_.trailing_bytes = rest.size() + time_code_size();
        return take({What::kPassed, rest.size()});
    }
    std::copy_n(rest.begin(), whole_packet(), last_packet_.begin());
    ++counts_.packets;
    counts_.trailing_bytes = rest.size() - whole_packet();
    return take({What::kPackets, rest.size(), last_packet_.data(), 1});
}

// Time codes that begin with 0x47 look like packets. When both places after a loss are passed over,
// the packets in step with those before are the better ones.
bool Framer::is_time_code_of_known_packet(std::span<const uint8_t> rest, size_t at) const {
    const size_t size = counts_.packet_size;
    if (time_code_size() == 0 || (offset_ + at + kTimeCodeSize - lost_at_) % size != 0)
        return false;
    return run_at(rest, at + kTimeCodeSize, size, 1) == 0 &&
           run_at(rest, at + kTimeCodeSize + size, size, whole_packet()) > 0;
}

Framer::Step Framer::find_again(std::span<const uint8_t> rest, bool last) {
    if (!last && rest.size() < kLookAhead) return {What::kNeedsMore};
    const size_t places = last ? rest.size() : rest.size() - kLookAhead + 1;
    const auto sought = rest.first(places);
    size_t at = find_sync_byte(sought, 0);
    size_t run = 0;
    while (at < places && (run = run_at(rest, at, counts_.packet_size, whole_packet())) == 0)
        at = find_sync_byte(sought, at + 1);
    if (at >= places) {
        skip(places);
        if (last) {
            phase_ = Phase::kEnded;
            counts_.skipped_bytes += time_code_size();  // of the packet that never came
        }
        return take({What::kPassed, places});
    }
    // Which of the two it is may put the start past the places that were searched.
    if (is_time_code_of_known_packet(rest, at)) {
        // The packets that follow are in step with those before: only their time codes look alike.
        at += kTimeCodeSize + counts_.packet_size;
    } else {
        at = column_of(rest, at, counts_.packet_size, run);
    }
    skip(at);
    phase_ = Phase::kInSync;
    return take({What::kPassed, at});
}

}  // namespace zv
