// SPDX-License-Identifier: MIT
// Implementation of remap_writer.h.
#include "ts/remap/remap_writer.h"

#include "ts/remap/section_rewrite.h"

namespace zvprobe {
namespace {

using zv::survey::Packet;
using zv::survey::Section;

// A table may have so many bytes left over before packets are added for them.
constexpr size_t kMostLeftOver = size_t{16} * zv::kTsBodySize;

}  // namespace

// The tables of the beginning are in force before they come, so that what precedes them is known.
RemapWriter::RemapWriter(const Identifiers& identifiers, const StreamFacts& facts,
                         bool without_nulls, OutFile& out)
    : ids_(identifiers), tables_(identifiers.only), queue_(out, without_nulls) {
    for (const auto& [pid, bytes] : facts.first_tables())
        tables_.see(pid, Section(bytes));
    begin_counters(facts);
}

void RemapWriter::begin_counters(const StreamFacts& facts) {
    for (uint16_t pid = 0; pid < zv::kPidCount; ++pid) {
        const bool joins = ids_.clock && ids_.clock->joins_stream && ids_.clock->from == pid;
        const bool foreign = ids_.only && pid > zv::kLastReservedPid && !facts.of(pid).named;
        if (facts.of(pid).seen && !joins && !foreign && !ids_.dropped[pid])
            queue_.begin_counter(ids_.pids[pid], facts.of(pid).counter_before);
    }
}

bool RemapWriter::is_copied(uint16_t pid) const {
    return !ids_.dropped[pid] && (!ids_.only || tables_.is_of_programme(pid));
}

bool RemapWriter::is_rewritten(uint16_t pid) const {
    if (pid == zv::kPidPat || pid == zv::kPidCat || pid == zv::kPidPsip || tables_.carries_pmt(pid))
        return ids_.changes_tables();
    return (pid == zv::kPidSdt || pid == zv::kPidEit) && ids_.changes_numbers();
}

void RemapWriter::take(const FramedPacket& framed) {
    const Packet packet(framed.body.data());
    const uint16_t pid = packet.pid();
    if (pid == zv::kPidNull || !is_copied(pid)) {
        take_nothing(queue_.push(framed));
    } else if (is_rewritten(pid) && packet.head().transport_error_indicator() == 0) {
        take_table(packet, queue_.push(framed));
    } else {
        if (lanes_[pid] && !is_rewritten(pid)) lanes_[pid]->settle();
        take_other(framed);
    }
    queue_.release();
}

// A place for what tables have left over, or a null packet.
void RemapWriter::take_nothing(QueuedPacket& queued) {
    for (; !hungry_.empty(); hungry_.pop_front()) {
        TableLane& lane = lane_of(hungry_.front());
        if (lane.left_over() > 0) return lane.use(queued);
        is_hungry_[hungry_.front()] = false;
    }
    queue_.make_null(queued);
}

void RemapWriter::take_table(const Packet& packet, QueuedPacket& queued) {
    const uint16_t pid = packet.pid();
    TableLane& lane = lane_of(pid);
    lane.take(packet, queued);
    insert(lane, kMostLeftOver);
    if (lane.left_over() == 0 || is_hungry_[pid]) return;
    is_hungry_[pid] = true;
    hungry_.push_back(pid);
}

void RemapWriter::take_other(const FramedPacket& framed) {
    const Packet packet(framed.body.data());
    if (ids_.clock && packet.pid() == ids_.clock->from) return move_clock(framed);
    QueuedPacket& queued = queue_.push(framed);
    const uint16_t pid = ids_.pids[packet.pid()];
    if (pid != packet.pid()) set_pid(queued.change(), pid);
}

// A clock of its own PID joins a stream: without payload its counters repeat the stream's. One that
// leaves a stream goes ahead of it, in a packet that the stream did not have.
void RemapWriter::move_clock(const FramedPacket& framed) {
    const Packet packet(framed.body.data());
    if (ids_.clock->joins_stream) {
        QueuedPacket& queued = queue_.push(framed);
        set_pid(queued.change(), ids_.clock->to);
        queued.counter = QueuedPacket::Counter::kRepeat;
        return;
    }
    if (packet.has_pcr()) {
        QueuedPacket& clock = queue_.push(framed);
        make_pcr_packet(clock.change(), framed.body, ids_.clock->to);
        clock.counter = QueuedPacket::Counter::kRepeat;
    }
    QueuedPacket& queued = queue_.push(framed);
    set_pid(queued.change(), ids_.pids[packet.pid()]);
    if (packet.has_pcr()) remove_pcr(queued.change());
}

TableLane& RemapWriter::lane_of(uint16_t pid) {
    if (!lanes_[pid])
        lanes_[pid] = std::make_unique<TableLane>(
            ids_.pids[pid], queue_, budget_, [this, pid](const Section& section) {
                if (section.is_sound() && section.is_current()) tables_.see(pid, section);
                return rewrite_section(section, pid, tables_.carries_pmt(pid), ids_);
            });
    return *lanes_[pid];
}

// Adds packets for what is left over.
void RemapWriter::insert(TableLane& lane, size_t most_left) {
    while (lane.left_over() > most_left)
        lane.use(queue_.push_another());
}

void RemapWriter::finish() {
    for (const auto& lane : lanes_) {
        if (lane) lane->settle();
    }
    for (const auto& lane : lanes_) {
        if (lane) insert(*lane, 0);
        queue_.release();
    }
}

}  // namespace zvprobe
