// SPDX-License-Identifier: MIT
// Second pass of the reference survey: continuity of each PID (ISO/IEC 13818-1, 2.4.3.3), and the
// lists of its PCRs and time stamps.
#include "packets.h"

#include <algorithm>
#include <utility>

namespace fuzz::reference {
namespace {

constexpr size_t kPcrAt = 6;
constexpr size_t kPcrSize = 6;

bool same_but_for_the_pcr(const Packet& a, const Packet& b) {
    for (size_t i = 0; i < kPacketBytes; ++i) {
        const bool in_pcr = a.pcr && b.pcr && i >= kPcrAt && i < kPcrAt + kPcrSize;
        if (!in_pcr && a.bytes[i] != b.bytes[i]) return false;
    }
    return true;
}

// What continuity remembers of a PID.
struct Counter {
    const Packet* before = nullptr;
    bool repeated = false;  // the packet before had the counter of the one before it
};

void watch(Counter& counter, Packet& packet, PidFacts& facts) {
    const Packet* const before = counter.before;
    const bool was_repeated = std::exchange(counter.repeated, false);
    counter.before = &packet;
    const unsigned ahead = before == nullptr ? 1u : (packet.counter + 16u - before->counter) % 16u;
    const bool in_order = before == nullptr || (packet.has_payload ? ahead == 1 : ahead == 0);
    if (packet.discontinuity) {
        ++facts.signalled;
        packet.drops_section = !in_order;
        return;
    }
    if (in_order) return;
    if (packet.has_payload && ahead == 0) {
        counter.repeated = true;
        packet.duplicate = !was_repeated && same_but_for_the_pcr(*before, packet);
        if (packet.duplicate) {
            ++facts.duplicates;
            return;
        }
    } else if (packet.has_payload) {
        facts.lost += (ahead + 15u) % 16u;
    }
    ++facts.errors;
    packet.continuity_error = true;
    packet.drops_section = true;
}

void add_pcr(PidFacts& facts, const Packet& packet) {
    Pcr pcr{};
    pcr.offset = packet.offset;
    pcr.value = *packet.pcr;
    pcr.signalled = packet.discontinuity;
    pcr.first = facts.pcrs.empty();
    if (!pcr.first) {
        pcr.step = (pcr.value + kPcrRange - facts.pcrs.back().value % kPcrRange) % kPcrRange;
        // Half the range is more than a second: what goes back is too far on as well.
        pcr.jump = pcr.step > kTicksPerSecond;
    }
    facts.pcrs.push_back(pcr);
}

void count(PidFacts& facts, const Packet& packet) {
    if (facts.packets++ == 0) facts.first_offset = packet.offset;
    facts.last_offset = packet.offset;
    facts.scrambled_packets += packet.scrambled;
    facts.unit_starts += packet.has_payload && packet.unit_start;
    facts.random_access_points += packet.random_access;
}

// stream_ids whose packets have no optional header (ISO/IEC 13818-1, table 2-21).
bool has_optional_header(uint8_t stream_id) {
    constexpr uint8_t kWithout[] = {0xBC, 0xBE, 0xBF, 0xF0, 0xF1, 0xF2, 0xF8, 0xFF};
    return stream_id >= 0xBC &&
           std::find(std::begin(kWithout), std::end(kWithout), stream_id) == std::end(kWithout);
}

uint64_t time_stamp(Bytes field) {
    return static_cast<uint64_t>(field[0] >> 1 & 7) << 30 | static_cast<uint64_t>(field[1]) << 22 |
           static_cast<uint64_t>(field[2] >> 1) << 15 | static_cast<uint64_t>(field[3]) << 7 |
           static_cast<uint64_t>(field[4] >> 1);
}

}  // namespace

std::optional<TimeStamps> time_stamps_of(const Packet& packet) {
    const Bytes pes = packet.payload;
    if (!packet.unit_start || packet.scrambled || pes.size() < 14) return std::nullopt;
    if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || !has_optional_header(pes[3])) {
        return std::nullopt;
    }
    const bool has_pts = (pes[7] & 0x80) != 0 && pes[8] >= 5;
    if ((pes[6] & 0xC0) != 0x80 || !has_pts) return std::nullopt;
    TimeStamps stamps{packet.offset, time_stamp(pes.subspan(9)), std::nullopt};
    const bool has_dts = (pes[7] & 0xC0) == 0xC0 && pes[8] >= 10 && pes.size() >= 19;
    if (has_dts) stamps.dts = time_stamp(pes.subspan(14));
    return stamps;
}

Pids watch_continuity(std::vector<Packet>& packets) {
    Pids pids;
    std::vector<Counter> counters(kPidCount);
    for (Packet& packet : packets) {
        PidFacts& facts = pids[packet.pid];
        if (packet.transport_error) {
            ++facts.transport_errors;
            continue;
        }
        count(facts, packet);
        if (packet.pid == kNullPid) continue;
        watch(counters[packet.pid], packet, facts);
        if (packet.duplicate) continue;
        if (packet.pcr) add_pcr(facts, packet);
        if (const auto stamps = time_stamps_of(packet)) facts.time_stamps.push_back(*stamps);
    }
    return pids;
}

}  // namespace fuzz::reference
