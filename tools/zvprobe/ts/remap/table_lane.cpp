// SPDX-License-Identifier: MIT
// Implementation of table_lane.h. While a section is on its way the packets that carried its
// beginning wait. Sections that follow each other without stuffing do so in the copy, too.
#include "ts/remap/table_lane.h"

#include <algorithm>

namespace zvprobe {
namespace {

constexpr size_t kLeastRoom = 2;  // for a pointer_field and the first byte of a section

// The longest section needs 23 packets, and may begin in one and end in another.
constexpr size_t kMostPlaces = 26;

}  // namespace

void TableLane::take(const zv::survey::Packet& packet, QueuedPacket& queued) {
    set_pid(queued.change(), new_pid_);
    if (packet.scrambled() || !packet.has_payload()) {
        queued.counter =
            packet.has_payload() ? QueuedPacket::Counter::kNext : QueuedPacket::Counter::kRepeat;
        read(packet);
        return;
    }
    queued.waiting = true;
    places_.push_back(queue_.last_place());
    if (left_over_) fill_next_place(true);
    const bool whole = read(packet);
    while (fill_next_place(false)) {
    }
    if (whole && sections_.is_open()) return empty_places(kMostPlaces);
    flush();
    empty_places(sections_.is_open() ? 1 : 0);
}

// -> false when something that had begun is not copied
bool TableLane::read(const zv::survey::Packet& packet) {
    bool all = true;
    const bool in_order = sections_.take(packet, [&](const zv::survey::Section& section) {
        const auto rewritten = rewrite_(section);
        all = all && rewritten;
        if (!rewritten) return;
        starts_.push_back(bytes_.size());
        bytes_.insert(bytes_.end(), rewritten->begin(), rewritten->end());
    });
    return all && in_order;
}

// A packet in which a section begins says where, in its first byte. One in which the next section
// could only begin with its last byte, which that takes, ends before.
TableLane::Piece TableLane::piece_for(size_t room) const {
    const size_t next = starts_.empty() ? bytes_.size() + room : starts_.front();
    const bool starts = next + kLeastRoom <= room;
    const size_t most = starts ? room - 1 : std::min(room, next);
    const size_t size = std::min(most, bytes_.size());
    return {starts, size, size == most};
}

// -> false when there is nothing to write, or nowhere
bool TableLane::fill_next_place(bool with_stuffing) {
    while (!places_.empty()) {
        QueuedPacket* const queued = queue_.waiting_at(places_.front());
        if (queued && payload_room(queued->bytes()) >= kLeastRoom) {
            const Piece piece = piece_for(payload_room(queued->bytes()));
            if (bytes_.empty() || !(piece.fills || with_stuffing)) return false;
            put(*queued, piece);
            places_.pop_front();
            return true;
        }
        if (queued) queue_.give_up(*queued);
        places_.pop_front();
    }
    return false;
}

void TableLane::put(QueuedPacket& queued, const Piece& piece) {
    std::vector<uint8_t> payload;
    if (piece.starts_section) payload.push_back(static_cast<uint8_t>(starts_.front()));
    const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(piece.size);
    payload.insert(payload.end(), bytes_.begin(), end);
    set_table_payload(queued.change(), payload, piece.starts_section);
    queued.waiting = false;
    queued.counter = QueuedPacket::Counter::kNext;
    bytes_.erase(bytes_.begin(), end);
    while (!starts_.empty() && starts_.front() < piece.size)
        starts_.pop_front();
    for (size_t& start : starts_)
        start -= piece.size;
    left_over_ = left_over_ && !bytes_.empty();
}

void TableLane::use(QueuedPacket& queued) {
    make_null(queued.change());
    set_pid(queued.change(), new_pid_);
    put(queued, piece_for(payload_room(queued.bytes())));
    queued.left_out = false;
}

// Packets that came and are not needed carry nothing, but for the latest `keep`.
void TableLane::empty_places(size_t keep) {
    for (; places_.size() > keep; places_.pop_front()) {
        if (QueuedPacket* const queued = queue_.waiting_at(places_.front()))
            queue_.give_up(*queued);
    }
}

void TableLane::flush() {
    while (fill_next_place(true)) {
    }
    left_over_ = !bytes_.empty();
}

void TableLane::settle() {
    sections_.drop();
    flush();
    empty_places(0);
}

}  // namespace zvprobe
