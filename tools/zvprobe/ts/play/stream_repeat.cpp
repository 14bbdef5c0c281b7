// SPDX-License-Identifier: MIT
// Implementation of stream_repeat.h.
#include "ts/play/stream_repeat.h"

#include "survey/packets/packet.h"

namespace zvprobe {
namespace {

using zv::survey::Packet;

constexpr uint64_t kTicksPerStamp = 300;  // PTS and DTS have 90 kHz
constexpr uint64_t kStampRange = uint64_t{1} << 33;
constexpr uint64_t kPcrRange = kStampRange * kTicksPerStamp;
constexpr uint64_t kLongestStep = 27'000'000;  // of the clock; more than that is a jump
constexpr uint8_t kOpcrFlag = 0x08;
constexpr size_t kFlags = 5;  // of the adaptation field
constexpr size_t kPtsField = 9;
constexpr size_t kDtsField = 14;

void move_pcr(uint8_t* field, uint64_t ticks) {
    zv::store_pcr(field, (zv::load_pcr(field) + ticks) % kPcrRange);
}

void move_stamp(uint8_t* field, uint64_t ticks) {
    const uint64_t stamp = zv::pes_time_stamp(field) + ticks / kTicksPerStamp;
    zv::store_pes_time_stamp(field, stamp % kStampRange);
}

// -> the place of the original clock's field; 0 when there is none
size_t opcr_field(const Packet& packet) {
    const size_t field = zv::survey::kPcrField +
                         (packet.adaptation_flags() & zv::kPcrFlag ? zv::survey::kPcrFieldSize : 0);
    const bool whole = packet.bytes()[4] + kFlags >= field + zv::survey::kPcrFieldSize;
    return (packet.adaptation_flags() & kOpcrFlag) && whole ? field : 0;
}

}  // namespace

void StreamRepeat::begin_pass(uint64_t ticks) {
    ++pass_;
    offset_ += ticks;
}

void StreamRepeat::rewrite(std::span<uint8_t, zv::kTsPacketSize> bytes) {
    const Packet packet(bytes.data());
    if (packet.head().transport_error_indicator() || packet.pid() == zv::kPidNull) return;
    Pid& pid = pids_[packet.pid()];
    go_on_counting(bytes.data(), pid);
    move_clocks(bytes.data(), pid);
    if (pass_ > 0 && packet.starts_unit() && !packet.scrambled()) move_time_stamps(bytes.data());
}

// The first packet of a pass follows the last one of the pass before; how the others follow each
// other, duplicates and losses included, is the source's.
void StreamRepeat::go_on_counting(uint8_t* packet, Pid& pid) const {
    constexpr uint8_t kMask = 15;
    const uint8_t counter = packet[3] & kMask;
    if (pid.pass != pass_ && pid.counter) {
        const int next = *pid.counter + (Packet(packet).has_payload() ? 1 : 0);
        pid.counter_shift = static_cast<uint8_t>((next - counter) & kMask);
    }
    pid.pass = pass_;
    pid.counter = static_cast<uint8_t>((counter + pid.counter_shift) & kMask);
    packet[3] = static_cast<uint8_t>((packet[3] & ~kMask) | *pid.counter);
}

void StreamRepeat::move_clocks(uint8_t* bytes, Pid& pid) const {
    const Packet packet(bytes);
    if (pass_ > 0) {
        if (const size_t field = opcr_field(packet)) move_pcr(bytes + field, offset_);
        if (packet.has_pcr()) move_pcr(bytes + zv::survey::kPcrField, offset_);
    }
    if (!packet.has_pcr()) return;
    const uint64_t pcr = packet.pcr();
    const bool first = pid.pcr && pid.pcr_pass != pass_;
    const uint64_t step = first ? (pcr + kPcrRange - *pid.pcr) % kPcrRange : 0;
    // A clock that jumped within the pass does not meet its own beginning.
    if (first && (step == 0 || step > kLongestStep))
        bytes[kFlags] |= zv::survey::kDiscontinuityFlag;
    pid.pcr = pcr;
    pid.pcr_pass = pass_;
}

void StreamRepeat::move_time_stamps(uint8_t* bytes) const {
    const auto payload = Packet(bytes).payload();
    const auto stamps = zv::survey::read_time_stamps(payload);
    if (!stamps) return;
    uint8_t* const pes = bytes + (payload.data() - bytes);
    move_stamp(pes + kPtsField, offset_);
    if (stamps->has_dts) move_stamp(pes + kDtsField, offset_);
}

}  // namespace zvprobe
