// SPDX-License-Identifier: MIT
// Implementation of remap_writer.h.
#include "ts/remap_writer.h"

#include <algorithm>
#include <cstring>

#include "ts/rs_parity.h"

namespace zvprobe {
namespace {

Packet copy_of(PacketBytes packet) {
    Packet copy;
    std::copy(packet.begin(), packet.end(), copy.begin());
    return copy;
}

PacketBytes body_of(const TsPacket& packet) {
    return packet.body.first<kPacketSize>();
}

// Takes the PCR out of an adaptation field: what stands behind it moves up, stuffing follows.
void remove_pcr(Packet& packet) {
    const size_t end = kTsHeaderSize + adaptation_size(packet);
    packet[kAdaptationFlagsAt] &= static_cast<uint8_t>(~(kPcrFlag | kDiscontinuityFlag));
    const auto begin = packet.begin();
    const auto behind =
        std::copy(begin + kPcrAt + kPcrSize, begin + static_cast<ptrdiff_t>(end), begin + kPcrAt);
    std::fill_n(behind, kPcrSize, uint8_t{0xFF});
}

// -> a packet that carries nothing but the PCR of another one
Packet pcr_packet(PacketBytes from, uint16_t pid, uint8_t counter) {
    Packet packet;
    packet.fill(0xFF);
    packet[0] = kSyncByte;
    packet[1] = 0;
    packet[3] = kHasAdaptationField;
    set_pid(packet, pid);
    set_counter(packet, counter);
    packet[kTsHeaderSize] = kPacketSize - kTsHeaderSize - 1;
    packet[kAdaptationFlagsAt] =
        static_cast<uint8_t>(from[kAdaptationFlagsAt] & (kPcrFlag | kDiscontinuityFlag));
    std::copy_n(from.begin() + kPcrAt, kPcrSize, packet.begin() + kPcrAt);
    return packet;
}

bool same(std::span<const uint8_t> a, std::span<const uint8_t> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace

void RemapWriter::take(const TsPacket& packet) {
    const PacketBytes body = body_of(packet);
    const RemapPlan::Entry& entry = plan_.by_pid[pid_of(body)];
    switch (entry.fate) {
        case Fate::kKeep:
            return put(packet, copy_of(body));
        case Fate::kMove:
            return put_moved(packet, entry.new_pid);
        case Fate::kPat:
            return starts_pat(body) ? put_table(packet, pat_) : put(packet, null_packet_);
        case Fate::kPmt:
            return starts_pmt(body) ? put_table(packet, pmt_) : put(packet, null_packet_);
        case Fate::kSdt:
            return starts_sdt(body) ? put_table(packet, sdt_) : put(packet, null_packet_);
        case Fate::kDrop:
            return put(packet, null_packet_);
    }
}

// A parity that was right is made right again; others are filling and stay.
void RemapWriter::put(const TsPacket& from, const Packet& body) {
    out_.write(from.time_code);
    out_.write(body);
    const bool right =
        !from.parity.empty() && same(from.parity, rs_parity(from.body.first<kPacketSize>()));
    out_.write(right ? std::span<const uint8_t>(rs_parity(body)) : from.parity);
    ++packets_;
}

void RemapWriter::put_table(const TsPacket& packet, Table& table) {
    set_counter(table.packet, table.counter++);
    put(packet, table.packet);
}

// The packet's PID changes, its counter and payload do not.
void RemapWriter::put_moved(const TsPacket& packet, uint16_t pid) {
    Packet body = copy_of(body_of(packet));
    const bool of_clock = pid_of(body) == plan_.old_pcr_pid;
    set_pid(body, pid);
    if (pid != plan_.new_pcr_pid) {
        if (of_clock && has_pcr(body)) put_pcr(packet, body);
        return put(packet, body);
    }
    // Without payload a counter repeats the one before, which is now the stream's.
    if (of_clock && plan_.pcr_joins_stream) set_counter(body, pcr_counter_);
    pcr_counter_ = counter_of(body);
    put(packet, body);
}

// The clock goes ahead on its own PID, in a packet that the stream did not have.
void RemapWriter::put_pcr(const TsPacket& from, Packet& body) {
    put(from, pcr_packet(body, plan_.new_pcr_pid, pcr_counter_));
    remove_pcr(body);
}

bool RemapWriter::starts_pat(PacketBytes packet) const {
    bool starts = false;
    for (const PsiSection& section : sections_in(packet)) {
        if (section.table_id != kTableIdPat) continue;
        starts = true;
        if (!section.whole) continue;
        for (const ProgramEntry& entry : read_pat(section)) {
            if (entry.program_number == plan_.old_program_number &&
                entry.pmt_pid != plan_.old_pmt_pid)
                throw RemapError("the PMT moves to another PID within the stream");
        }
    }
    return starts;
}

bool RemapWriter::starts_pmt(PacketBytes packet) {
    bool starts = false;
    for (const PsiSection& section : sections_in(packet)) {
        if (section.table_id != kTableIdPmt || section.id != plan_.old_program_number) continue;
        starts = true;
        if (!section.whole) continue;
        const auto contents = section.contents();
        if (old_map_.empty()) old_map_.assign(contents.begin(), contents.end());
        if (!same(old_map_, contents))
            throw RemapError("the programme's streams change within the stream");
    }
    return starts;
}

bool RemapWriter::starts_sdt(PacketBytes packet) const {
    if (!plan_.sdt) return false;
    const auto sections = sections_in(packet);
    return std::any_of(sections.begin(), sections.end(),
                       [](const PsiSection& section) { return section.table_id == kTableIdSdt; });
}

}  // namespace zvprobe
