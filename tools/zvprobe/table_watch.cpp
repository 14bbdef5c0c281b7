// SPDX-License-Identifier: MIT
// Implementation of table_watch.h.
#include "table_watch.h"

#include <algorithm>
#include <array>
#include <utility>

#include "psi_section.h"
#include "ts_text.h"
#include "zvcommon.h"

namespace zvprobe {
namespace {

constexpr std::array kFixedPids = {kPidPat, kPidCat, kPidNit, kPidSdt, kPidEit};
constexpr size_t kCacheLine = 64;
constexpr uint8_t kSectionSyntax = 0x80;
constexpr size_t kSectionNumberAt = 6;
constexpr size_t kSmallestSection = 12;  // header and CRC

// Only such sections end in a CRC_32.
bool has_crc(std::span<const uint8_t> section) {
    return (section[1] & kSectionSyntax) != 0 && section[0] != kTableIdStuffing;
}

}  // namespace

TableWatch::TableWatch(Findings& findings) : findings_(findings), by_pid_(kPidCount) {
    for (const uint16_t pid : kFixedPids)
        watch(pid);
}

// -> true when the PID was not watched before
bool TableWatch::watch(uint16_t pid) {
    if (watches(pid) || pid == kPidNull) return false;
    by_pid_[pid] = std::make_unique<Table>();
    return true;
}

// Every packet of a stream passes here, and nearly every one is of no table: one load and a test.
// What the tables hold is asked for at once, and looked at when it has come from memory.
void TableWatch::see(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
    constexpr size_t kAtOnce = 32;
    std::array<size_t, kAtOnce> found;
    size_t at = 0;
    while (at + PacketBytes::extent <= packets.size()) {
        size_t count = 0;
        for (; count < kAtOnce && at + PacketBytes::extent <= packets.size(); at += packet_size) {
            const uint8_t* const packet = packets.data() + at;
            if (!watches(pid_of(PacketBytes(packet, PacketBytes::extent)))) continue;
            found[count++] = at;
            __builtin_prefetch(packet + kCacheLine);
            __builtin_prefetch(packet + 2 * kCacheLine);
        }
        for (const size_t place : std::span(found).first(count)) {
            see_table(packets.subspan(place).first<PacketBytes::extent>(), offset + place);
            if (!std::exchange(others_watched_, false)) continue;
            at = place + packet_size;
            break;
        }
    }
}

Step TableWatch::count(Table& table, PacketBytes packet, uint64_t offset) {
    const uint32_t lost_before = table.continuity.lostnum;
    const Step step = count_continuity(table.continuity, packet, offset, findings_);
    if (step == Step::kGap) ++totals_.errors;
    totals_.lost += table.continuity.lostnum - lost_before;
    return step;
}

void TableWatch::see_table(PacketBytes packet, uint64_t offset) {
    if (is_empty(packet)) return;
    Table& table = *by_pid_[pid_of(packet)];
    const Step step = count(table, packet, offset);
    if (step == Step::kRepeat) return;
    if (step == Step::kGap) table.gatherer.drop();
    if ((packet[1] & kTransportError) != 0 || (packet[3] & kScrambled) != 0)
        return table.gatherer.drop();
    gather(table, packet, offset);
}

// Tables hardly ever change: a payload known to be sound needs no second look.
void TableWatch::gather(Table& table, PacketBytes packet, uint64_t offset) {
    const bool starts = (packet[1] & kPayloadUnitStart) != 0;
    const auto payload = payload_of(packet);
    const bool alone = starts && !table.gatherer.unfinished();
    if (alone && std::ranges::equal(payload, table.sound)) return;
    const uint64_t errors_before = crc_errors_.count();
    const uint16_t pid = pid_of(packet);
    table.gatherer.take(payload, starts, offset,
                        [this, pid](std::span<const uint8_t> section, uint64_t begun_at) {
                            see_section(pid, section, begun_at);
                        });
    if (alone && !table.gatherer.unfinished() && crc_errors_.count() == errors_before)
        table.sound.assign(payload.begin(), payload.end());
}

void TableWatch::see_section(uint16_t pid, std::span<const uint8_t> section, uint64_t offset) {
    if (!has_crc(section)) return;
    const uint8_t table_id = section[0];
    if (zvcrc_api_CRC32(section.data(), static_cast<int>(section.size())) != 0) {
        crc_errors_.add({offset, pid, table_id});
        if (findings_.next())
            findings_.tell(offset, pid, "wrong CRC in a section of table " + hex_byte(table_id));
    } else if (pid == kPidPat && table_id == kTableIdPat && section.size() >= kSmallestSection) {
        see_pat(section);
    }
}

void TableWatch::see_pat(std::span<const uint8_t> section) {
    if (section[kSectionNumberAt] == 0 && !std::ranges::equal(section, pat_)) {
        pat_.assign(section.begin(), section.end());
        for (const uint16_t pid : std::exchange(from_pat_, {}))
            by_pid_[pid].reset();
        others_watched_ = true;
    }
    for (const ProgramEntry& entry : read_pat({kTableIdPat, 0, section, true}))
        if (watch(entry.pmt_pid)) {
            from_pat_.push_back(entry.pmt_pid);
            others_watched_ = true;
        }
}

TableContinuity TableWatch::continuity(std::span<const StreamInfoProgram> programs) const {
    const auto of = [this](uint16_t pid) {
        const auto& table = by_pid_[pid % kPidCount];
        return table == nullptr ? CCState{} : table->continuity;
    };
    TableContinuity result = {of(kPidPat), of(kPidSdt), {}};
    for (const StreamInfoProgram& program : programs)
        result.pmt.push_back(of(program.pmt_pid));
    return result;
}

}  // namespace zvprobe
