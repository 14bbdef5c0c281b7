// SPDX-License-Identifier: MIT
// Implementation of survey.h. see_packet is the whole way of an ordinary packet: its header and one
// record.
#include "survey/survey.h"

#include <algorithm>
#include <utility>

#include "survey/continuity.h"

namespace zv::survey {
namespace {

// The tables whose CRC_32 the indicator 2.2 looks at.
bool is_crc_error_2_2(uint8_t table_id) {
    return table_id <= kTableIdPmt || table_id == kTableIdNitActual ||
           table_id == kTableIdNitOther || table_id == kTableIdSdtActual ||
           table_id == kTableIdSdtOther || table_id == kTableIdBat || table_id == kTableIdTot ||
           (table_id >= kTableIdEitActual && table_id <= kTableIdEitLast);
}

}  // namespace

Survey::Survey(EventLog::Tell tell, SeePackets see_packets)
    : see_packets_(std::move(see_packets)), events_(std::move(tell)) {}

void Survey::feed(std::span<const uint8_t> bytes) {
    bytes_ += bytes.size();
    input_.feed(bytes, [this](std::span<const uint8_t> piece) { return read(piece, false); });
}

void Survey::finish() {
    if (std::exchange(finished_, true)) return;
    read(input_.left(), true);
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
            const size_t second = framer_.counts().packet_size;
            tell_byte_error(offset, rest[0]);
            tell_byte_error(offset + second, rest[second]);
            events_.add({.kind = EventKind::kSyncLoss, .offset = offset});
        }
        taken += step.taken;
    }
    keep_last_packets();
    return taken;
}

void Survey::tell_byte_error(uint64_t offset, uint8_t found) {
    events_.add({.kind = EventKind::kSyncByteError, .offset = offset, .a = found});
}

void Survey::see_run(const Framer::Step& step, uint64_t offset) {
    const size_t packet_size = framer_.counts().packet_size;
    for (size_t i = 0; i < step.count; ++i)
        see_packet(step.packets + i * packet_size, offset + i * packet_size);
    if (see_packets_) see_packets_(step.packets, packet_size, step.count, offset);
}

// What was read of the input at hand goes: the packets that later ones may repeat are copied.
void Survey::keep_last_packets() {
    for (const uint16_t pid : came_) {
        PidRecord& record = pids_[pid];
        std::copy_n(record.last_packet, kTsPacketSize, record.detail->kept.begin());
        record.last_packet = record.detail->kept.data();
    }
    came_.clear();
    ++input_number_;
}

void Survey::see_packet(const uint8_t* bytes, uint64_t offset) {
    const Packet packet(bytes);
    PidRecord& record = pids_[packet.pid()];
    const uint8_t due = (record.continuity_counter + 1) & 15;
    const bool ordinary = record.ordinary && record.input == input_number_ &&
                          packet.head().continues_payload() &&
                          packet.head().continuity_counter() == due;
    if (!ordinary) return see_other(packet, record, offset);
    ++record.packets;
    record.last_offset = offset;
    record.last_packet = bytes;
    record.continuity_counter = due;
}

void Survey::see_other(const Packet& packet, PidRecord& record, uint64_t offset) {
    if (packet.head().transport_error_indicator()) return see_transport_error(packet.pid(), offset);
    PidDetail& detail = pids_.detail(packet.pid());
    detail.scrambled_packets += packet.scrambled();
    detail.unit_starts += packet.starts_unit();
    detail.random_access_points += packet.random_access();
    const bool known = packet.pid() != kPidNull && !see_continuity(packet, record, offset);
    note_coming(record, packet, offset);
    if (known || packet.pid() == kPidNull) return;
    see_scrambling(packet, detail, offset);
    if (detail.watched && !packet.scrambled()) see_sections(packet, detail, offset);
}

void Survey::see_transport_error(uint16_t pid, uint64_t offset) {
    ++transport_errors_;
    ++pids_.detail(pid).transport_errors;
    events_.add({.kind = EventKind::kTransportError, .pid = pid, .offset = offset});
}

// Takes over what the next packet of the PID is compared with.
void Survey::note_coming(PidRecord& record, const Packet& packet, uint64_t offset) {
    if (record.packets++ == 0) record.first_offset = offset;
    record.last_offset = offset;
    record.last_packet = packet.bytes();
    record.continuity_counter = packet.head().continuity_counter();
    record.ordinary = packet.pid() != kPidNull && !record.detail->watched && !record.repeated &&
                      !packet.scrambled();
    if (std::exchange(record.input, input_number_) != input_number_) came_.push_back(packet.pid());
}

// -> false when what the packet carries is known already
bool Survey::see_continuity(const Packet& packet, PidRecord& record, uint64_t offset) {
    PidDetail& detail = *record.detail;
    const Continuity step = judge_continuity(packet, record, detail.continuity);
    record.repeated = step == Continuity::kDuplicate;
    if (step == Continuity::kError) {
        events_.add({.kind = EventKind::kContinuityError,
                     .pid = packet.pid(),
                     .offset = offset,
                     .a = packet.head().continuity_counter(),
                     .b = record.continuity_counter});
    } else if (step == Continuity::kSignalled || step == Continuity::kRestarted) {
        events_.add(
            {.kind = EventKind::kDiscontinuitySignalled, .pid = packet.pid(), .offset = offset});
    }
    if (step == Continuity::kError || step == Continuity::kRestarted) detail.sections.drop();
    return step != Continuity::kDuplicate;
}

void Survey::see_scrambling(const Packet& packet, PidDetail& detail, uint64_t offset) {
    if (!packet.has_payload()) return;
    const bool changed = detail.scrambled && *detail.scrambled != packet.scrambled();
    detail.scrambled = packet.scrambled();
    if (!changed) return;
    events_.add({.kind = EventKind::kScramblingChanged,
                 .pid = packet.pid(),
                 .offset = offset,
                 .a = packet.scrambled()});
}

void Survey::see_sections(const Packet& packet, PidDetail& detail, uint64_t offset) {
    const uint16_t pid = packet.pid();
    detail.sections.take(
        packet.payload(), packet.starts_unit(), offset, [](uint64_t) {},
        [&](const Section& section, uint64_t first_offset) {
            see_section(pid, section, first_offset, offset);
        });
}

void Survey::see_section(uint16_t pid, const Section& section, uint64_t first_offset,
                         uint64_t offset) {
    if (!section.is_sound()) {
        ++pids_.detail(pid).crc_errors;
        if (crc_errors_++ < kMostCrcErrors)
            crc_error_list_.push_back({first_offset, pid, section.table_id()});
        if (!is_crc_error_2_2(section.table_id())) return;
        events_.add({.kind = EventKind::kCrcError,
                     .pid = pid,
                     .offset = first_offset,
                     .a = section.table_id()});
        return;
    }
    tables_.see(pid, section);
    if (section.is_current()) model_.see(pid, section, offset);
}

}  // namespace zv::survey
