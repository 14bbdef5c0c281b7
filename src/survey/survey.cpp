// SPDX-License-Identifier: MIT
// Implementation of survey.h: the way of a packet up to what it carries, which survey_sections.cpp
// and survey_codecs.cpp take. pass_ordinary is the whole way of ordinary packets: a header and one
// record each.
#include "survey/survey.h"

#include <algorithm>
#include <utility>

namespace zv::survey {
namespace {

// Packets to ask the memory for: further on than the framer's step and its own look-ahead, so that the
// memory is asked all the time and not in a burst a step (64 is a twelfth slower than 96).
constexpr size_t kPacketsAhead = 96;

}  // namespace

Survey::Survey(EventLog::Tell tell, SeePackets see_packets, const Limits& limits,
               SeeTimeLine see_line, const std::optional<HistoryBounds>& history)
    : see_packets_(std::move(see_packets)),
      events_(std::move(tell)),
      limits_(limits),
      timing_(events_, pids_, tables_, limits_, std::move(see_line), history) {}

void Survey::feed(std::span<const uint8_t> bytes) {
    bytes_ += bytes.size();
    input_.feed(bytes, [this](std::span<const uint8_t> piece) { return read(piece, false); });
}

double Survey::seconds_since_first(uint64_t now_us) {
    if (!first_arrival_us_) first_arrival_us_ = now_us;
    last_arrival_us_ = std::max({last_arrival_us_, *first_arrival_us_, now_us});
    return static_cast<double>(last_arrival_us_ - *first_arrival_us_) * 1e-6;
}

void Survey::feed_at(std::span<const uint8_t> bytes, uint64_t arrival_us) {
    const bool first = !begun_;
    const uint64_t passed = framer_.offset();
    timing_.arrive(seconds_since_first(arrival_us));
    feed(bytes);
    // Time begins with the first packet: what was passed over is none.
    if (!begun_ && framer_.offset() > passed) first_arrival_us_ = arrival_us;
    if (first) packets_at_first_arrival_ = framing().packets;
}

void Survey::tick(uint64_t now_us) {
    if (begun_) timing_.tick(seconds_since_first(now_us), framer_.offset());
}

void Survey::finish() {
    if (std::exchange(finished_, true)) return;
    read(input_.left(), true);
    pids_.for_each_detail([this](uint16_t pid, PidDetail& detail) {
        if (detail.es) finish_codec(pid, detail);
    });
    timing_.finish(last_packet_);
}

// -> bytes taken
size_t Survey::read(std::span<const uint8_t> bytes, bool last) {
    size_t taken = 0;
    for (;;) {
        const uint64_t offset = framer_.offset();
        const auto rest = bytes.subspan(taken);
        const Framer::Step step = framer_.next(rest, last);
        if (step.what == Framer::What::kNeedsMore) break;
        if (step.what == Framer::What::kPackets) {
            see_run(step, offset);
        } else if (step.what == Framer::What::kByteError) {
            tell_byte_error(offset, rest[0]);
        } else if (step.what == Framer::What::kLoss) {
            see_loss(rest, offset);
        } else if (framer_.counts().losses > 0 &&
                   framer_.counts().losses == sync_loss_list_.size()) {
            sync_loss_list_.back().skipped_bytes = framer_.counts().loss_skipped_bytes;
        }
        taken += step.taken;
    }
    keep_last_packets();
    return taken;
}

// Two places in a row lack their sync byte.
void Survey::see_loss(std::span<const uint8_t> rest, uint64_t offset) {
    const size_t second = framer_.counts().packet_size;
    tell_byte_error(offset, rest[0]);
    tell_byte_error(offset + second, rest[second]);
    timing_.tell({.kind = event_of(Indicator::kTsSyncLoss), .offset = offset});
    if (sync_loss_list_.size() < kMostSyncLosses) sync_loss_list_.push_back({offset, 0});
}

void Survey::tell_byte_error(uint64_t offset, uint8_t found) {
    timing_.tell({.kind = event_of(Indicator::kSyncByteError), .offset = offset, .a = found});
}

// The whole way of ordinary packets. What does not change between two of them is read once.
// from    in  number of the first packet of the step that is looked at
// offset  in  of the step's first packet
// -> number of the first that needs a second look; step.count when none does
inline size_t Survey::pass_ordinary(const Framer::Step& step, size_t from, uint64_t offset) {
    const size_t packet_size = framer_.counts().packet_size;
    const uint64_t stretch_now = stretch();
    const uint64_t gap_bytes = timing_.gap_bytes();
    const uintptr_t ahead = kPacketsAhead * packet_size;
    PidRecord* const records = &pids_[0];
    const uint8_t* at = step.packets + from * packet_size;
    offset += from * packet_size;
    uint64_t null_unit_starts = 0;  // any other packet that starts a unit is not passed here
    for (; from < step.count; ++from, at += packet_size, offset += packet_size) {
        prefetch_packet(at, ahead);
        const HeaderWord head = {load_be32(at)};
        PidRecord& record = records[head.pid()];
        const bool ordinary = record.ordinary_in == stretch_now && record.just_continues(head) &&
                              offset - record.last_offset <= gap_bytes;
        if (!ordinary) break;
        ++record.packets;
        record.last_offset = offset;
        record.last_packet = at;
        record.note_counter(head);
        null_unit_starts += head.payload_unit_start_indicator();
    }
    if (null_unit_starts > 0) pids_.detail(kPidNull).unit_starts += null_unit_starts;
    return from;
}

// Takes over what the next packet of the PID is compared with. Called from
// two places, and short in both of them.
[[gnu::always_inline]] inline void Survey::note_coming(PidRecord& record, const Packet& packet,
                                                       uint64_t offset) {
    if (record.packets++ == 0 || !record.segment_open || !timing_.same_segment(record, offset))
        timing_.begin_segment(packet.pid(), offset);
    record.last_offset = offset;
    const bool came_before = record.last_packet && record.last_packet != record.detail->kept.data();
    if (!came_before) came_.push_back(packet.pid());
    record.last_packet = packet.bytes();
    record.note_counter(packet.head());
    if (packet.pid() == kPidNull) record.judged_bits = kContinuingBits & ~kUnitStartBit;
    // Only a packet with payload tells whether what follows is scrambled.
    const bool ordinary =
        !record.detail->watched && !record.repeated && packet.has_payload() && !packet.scrambled();
    record.ordinary_in = ordinary ? stretch() : PidRecord::kNeverOrdinary;
}

void Survey::see_run(const Framer::Step& step, uint64_t offset) {
    const size_t packet_size = framer_.counts().packet_size;
    if (!begun_) {
        begun_ = true;
        timing_.begin(packet_size, offset);
    }
    last_packet_ = offset + (step.count - 1) * packet_size;
    for (size_t i = 0; (i = pass_ordinary(step, i, offset)) < step.count; ++i) {
        const Packet packet(step.packets + i * packet_size);
        PidRecord& record = pids_[packet.pid()];
        const uint64_t place = offset + i * packet_size;
        if (record.is_ordinary() && record.continues_or_starts_unit(packet.head()))
            see_payload_only(packet, record, place);
        else
            see_other(packet, record, place);
    }
    if (see_packets_) see_packets_(step.packets, packet_size, step.count, offset);
}

// Called before the current input becomes invalid: copies the packets that later ones may repeat.
void Survey::keep_last_packets() {
    for (const uint16_t pid : came_) {
        PidRecord& record = pids_[pid];
        std::copy_n(record.last_packet, kTsPacketSize, record.detail->kept.begin());
        record.last_packet = record.detail->kept.data();
    }
    came_.clear();
    ++input_number_;
}

// A packet in order of a clear stream that is not watched, without an adaptation field: a unit
// start, or the first of its stretch, or one after a gap.
inline void Survey::see_payload_only(const Packet& packet, PidRecord& record, uint64_t offset) {
    PidDetail& detail = *record.detail;
    note_coming(record, packet, offset);
    detail.unit_starts += packet.starts_unit();
    if (!packet.starts_unit() || packet.pid() == kPidNull) return;
    see_time_stamps(packet, detail, offset);
    if (detail.es) see_es(packet, detail, offset);
}

void Survey::see_other(const Packet& packet, PidRecord& record, uint64_t offset) {
    if (packet.head().transport_error_indicator()) return see_transport_error(packet.pid(), offset);
    PidDetail& detail = pids_.detail(packet.pid());
    detail.scrambled_packets += packet.scrambled();
    detail.unit_starts += packet.starts_unit();
    detail.random_access_points += packet.random_access();
    const bool known = packet.pid() != kPidNull && !see_continuity(packet, record, offset);
    note_coming(record, packet, offset);
    if (packet.pid() == kPidNull) return;
    if (packet.scrambled()) see_scrambled(packet, detail, offset);
    if (known) return;
    see_scrambling(packet, detail, offset);
    if (packet.has_pcr()) see_pcr(packet, detail, offset);
    if (packet.scrambled()) return;
    if (packet.starts_unit()) see_time_stamps(packet, detail, offset);
    if (detail.watched) see_sections(packet, detail, offset);
    if (packet.starts_unit() && packet.random_access()) see_parameters(packet, detail);
    if (detail.es) see_es(packet, detail, offset);
}

void Survey::see_scrambled(const Packet& packet, PidDetail& detail, uint64_t offset) {
    const uint16_t pid = packet.pid();
    if (!std::exchange(scrambled_came_, true)) timing_.push(FirstScrambled{offset});
    const auto tell = [&](Indicator indicator) {
        timing_.tell({.kind = event_of(indicator),
                      .clause = Clause::kScrambled,
                      .pid = pid,
                      .offset = offset});
    };
    if (pid == kPidPat) tell(Indicator::kPatError2);
    if (detail.has(Role::kPmt)) tell(Indicator::kPmtError2);
    if (std::exchange(detail.pts.waited_for, false)) timing_.push(PtsInterrupted{offset, pid});
}

inline void Survey::see_pcr(const Packet& packet, PidDetail& detail, uint64_t offset) {
    if (!detail.pcr) detail.pcr = std::make_unique<PcrValues>();
    const PcrStep step = detail.pcr->add(packet.pcr(), offset, packet.discontinuity());
    const bool out_of_order =
        step.goes_back() || static_cast<double>(step.ticks) > limits_.pcr_discontinuity * kPcrHz;
    if (!step.first && !step.signalled && out_of_order) {
        const double ticks = step.goes_back() ? -static_cast<double>(kPcrRange - step.ticks)
                                              : static_cast<double>(step.ticks);
        timing_.tell({.kind = event_of(Indicator::kPcrDiscontinuityIndicatorError),
                      .pid = packet.pid(),
                      .offset = offset,
                      .a = static_cast<uint32_t>(static_cast<int32_t>(ticks * 1000 / kPcrHz))});
    }
    timing_.pcr(packet.pid(), offset, step);
}

inline void Survey::see_time_stamps(const Packet& packet, PidDetail& detail, uint64_t offset) {
    const auto stamps = read_time_stamps(packet.payload());
    if (!stamps) return;
    if (detail.pts.count++ == 0) detail.pts.first = stamps->pts;
    detail.pts.last = stamps->pts;
    detail.pts.dts_count += stamps->has_dts;
    detail.pts.waited_for = detail.has(Role::kPts);
    int32_t reference_pid = kNoPid;
    uint64_t reference = 0;
    if (const auto pcr_pid = model_.pcr_pid_for(packet.pid(), detail)) {
        if (const PcrValues* const pcrs = pids_.detail(*pcr_pid).pcr.get()) {
            reference_pid = *pcr_pid;
            reference = pcrs->last_value();
        }
    }
    timing_.push(PtsCame{offset, packet.pid(), reference_pid, stamps->decoding, reference});
}

void Survey::see_transport_error(uint16_t pid, uint64_t offset) {
    ++transport_errors_;
    ++pids_.detail(pid).transport_errors;
    timing_.tell({.kind = event_of(Indicator::kTransportError), .pid = pid, .offset = offset});
}

// -> false when what the packet carries is known already
inline bool Survey::see_continuity(const Packet& packet, PidRecord& record, uint64_t offset) {
    PacketBefore before = {record.packets == 0 ? nullptr : record.last_packet,
                           record.continuity_counter(), record.repeated};
    const Continuity step = judge_continuity(packet, before, record.detail->continuity);
    record.repeated = before.repeated;
    if (step == Continuity::kInOrder) return true;
    if (step == Continuity::kDuplicate) return false;
    see_discontinuity(step, packet, record, offset);
    return true;
}

// A packet that is not the one that was due, or says that it need not be.
void Survey::see_discontinuity(Continuity step, const Packet& packet, const PidRecord& record,
                               uint64_t offset) {
    if (step == Continuity::kError) {
        timing_.tell({.kind = event_of(Indicator::kContinuityCountError),
                      .pid = packet.pid(),
                      .offset = offset,
                      .a = packet.head().continuity_counter(),
                      .b = record.continuity_counter()});
    } else {
        timing_.tell(
            {.kind = EventKind::kDiscontinuitySignalled, .pid = packet.pid(), .offset = offset});
    }
    if (step == Continuity::kSignalled) return;
    record.detail->sections.drop();
    if (record.detail->es) record.detail->es->lose();
}

inline void Survey::see_scrambling(const Packet& packet, PidDetail& detail, uint64_t offset) {
    if (!packet.has_payload()) return;
    const bool changed = detail.scrambled && *detail.scrambled != packet.scrambled();
    detail.scrambled = packet.scrambled();
    if (!changed) return;
    timing_.tell({.kind = EventKind::kScramblingChanged,
                  .pid = packet.pid(),
                  .offset = offset,
                  .a = packet.scrambled()});
}

}  // namespace zv::survey
