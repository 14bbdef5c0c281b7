// SPDX-License-Identifier: MIT
// Implementation of packet_queue.h.
#include "ts/remap/packet_queue.h"

#include <algorithm>

#include "ts/remap/rs_parity.h"

namespace zvprobe {
namespace {

uint16_t pid_of(const QueuedPacket& packet) {
    return zv::load_pid(&packet.bytes()[1]);
}

}  // namespace

void QueuedPacket::copy(const FramedPacket& from) {
    std::ranges::copy(from.body, body_.begin());
    std::ranges::copy(from.time_code, time_code_.begin());
    std::ranges::copy(from.parity, parity_.begin());
    time_code_size_ = static_cast<uint8_t>(from.time_code.size());
    parity_size_ = static_cast<uint8_t>(from.parity.size());
    counter = Counter::kKeep;
    waiting = left_out = changed_ = false;
}

PacketBytes QueuedPacket::change() {
    if (!changed_) was_right_ = parity_size_ > 0 && rs_parity(body_) == parity_;
    changed_ = true;
    return body_;
}

void QueuedPacket::write(OutFile& out) {
    if (changed_ && was_right_) parity_ = rs_parity(body_);
    out.write(std::span(time_code_).first(time_code_size_));
    out.write(body_);
    out.write(std::span(parity_).first(parity_size_));
}

// -> room for one more packet
QueuedPacket& PacketQueue::add() {
    if (end_ - begin_ == kMostWaiting) release();
    if (end_ - begin_ == kMostWaiting) {
        give_up(at(begin_));
        release();
    }
    return at(end_++);
}

QueuedPacket& PacketQueue::push(const FramedPacket& from) {
    QueuedPacket& packet = add();
    packet.copy(from);
    return packet;
}

QueuedPacket& PacketQueue::push_another() {
    QueuedPacket& packet = add();
    packet = at(end_ - 2);
    packet.waiting = packet.left_out = false;
    return packet;
}

QueuedPacket* PacketQueue::waiting_at(uint64_t place) {
    if (place < begin_ || !at(place).waiting) return nullptr;
    return &at(place);
}

void PacketQueue::give_up(QueuedPacket& packet) {
    packet.waiting = false;
    packet.counter = QueuedPacket::Counter::kRepeat;
    empty(packet.change());
    if (pid_of(packet) == zv::kPidNull) make_null(packet);
}

void PacketQueue::make_null(QueuedPacket& packet) {
    packet.counter = QueuedPacket::Counter::kKeep;
    packet.left_out = without_nulls_;
    if (pid_of(packet) != zv::kPidNull) zvprobe::make_null(packet.change());
}

void PacketQueue::release() {
    for (; begin_ < end_ && !at(begin_).waiting; ++begin_) {
        if (!at(begin_).left_out) write(at(begin_));
    }
}

void PacketQueue::write(QueuedPacket& packet) {
    settle_counter(packet);
    packet.write(out_);
    ++written_;
}

void PacketQueue::settle_counter(QueuedPacket& packet) {
    const zv::HeaderWord head = {zv::load_be32(packet.bytes().data())};
    uint8_t& last = last_[head.pid()];
    const int before = packet.counter == QueuedPacket::Counter::kKeep   ? head.continuity_counter()
                       : packet.counter == QueuedPacket::Counter::kNext ? last + 1
                                                                        : last;
    const auto counter = static_cast<uint8_t>(before & 15);
    if (head.transport_error_indicator() == 0) last = counter;
    if (counter != head.continuity_counter()) set_counter(packet.change(), counter);
}

}  // namespace zvprobe
