// SPDX-License-Identifier: MIT
// Implementation of remap_check.h.
#include "parts/remap_check.h"

#include <algorithm>
#include <array>
#include <vector>

#include "mpeg/ts_packet/framing.h"
#include "survey/packets/packet.h"
#include "survey/psi/psi.h"
#include "ts/remap/pid_sections.h"

namespace fuzz {
namespace {

using namespace zv::survey;
using zv::Framer;
using PacketBytes = std::array<uint8_t, zv::kTsPacketSize>;
using Packets = std::vector<PacketBytes>;

int pid_of(const PacketBytes& packet) {
    return Packet(packet.data()).pid();
}

Packets packets_of(std::span<const uint8_t> bytes) {
    Packets packets;
    Framer framer;
    while (true) {
        const Framer::Step step = framer.next(bytes, true);
        if (step.what == Framer::What::kNeedsMore) return packets;
        for (size_t i = 0; i < step.count; ++i) {
            packets.emplace_back();
            std::copy_n(step.packets + i * framer.counts().packet_size, zv::kTsPacketSize,
                        packets.back().begin());
        }
        bytes = bytes.subspan(step.taken);
    }
}

// Calls see(section) for the sections of a PID.
template <typename See>
void for_each_section(const Packets& packets, int pid, See see) {
    SectionBudget budget;
    zvprobe::PidSections sections(budget);
    for (const PacketBytes& bytes : packets) {
        const Packet packet(bytes.data());
        if (packet.pid() == pid && packet.head().transport_error_indicator() == 0)
            sections.take(packet, see);
    }
}

// PIDs on which sections may be rewritten.
std::set<int> table_pids(const Packets& packets) {
    std::set<int> pids = {0, 1, 0x11, 0x12, 0x1FFB};
    for_each_section(packets, 0, [&](const Section& section) {
        if (section.table_id() != kTableIdPat || !section.is_long() || !section.is_sound()) return;
        for_each_pat_entry(section, [&](uint16_t number, uint16_t pid) {
            if (number != 0) pids.insert(pid);
        });
    });
    return pids;
}

int new_pid(const RemapChoice& choice, int pid) {
    const auto found = choice.pids.find(pid);
    return found == choice.pids.end() ? pid : found->second;
}

// Packets of the copy that are no table and none that carries nothing.
Packets others(const Packets& packets, const std::set<int>& tables) {
    Packets found;
    for (const PacketBytes& packet : packets)
        if (!tables.contains(pid_of(packet)) && pid_of(packet) != zv::kPidNull)
            found.push_back(packet);
    return found;
}

Packets expected_others(const RemapChoice& choice, const Packets& was,
                        const std::set<int>& tables) {
    Packets expected = others(was, tables);
    std::erase_if(expected,
                  [&](const auto& packet) { return choice.dropped.contains(pid_of(packet)); });
    for (PacketBytes& packet : expected) {
        const int pid = new_pid(choice, pid_of(packet));
        packet[1] = static_cast<uint8_t>((packet[1] & 0xE0) | pid >> 8);
        packet[2] = static_cast<uint8_t>(pid);
    }
    return expected;
}

// Of one programme the packets are some of those, in the same order.
bool are_among(const Packets& some, const Packets& all) {
    auto at = all.begin();
    for (const PacketBytes& packet : some) {
        at = std::find(at, all.end(), packet);
        if (at++ == all.end()) return false;
    }
    return true;
}

void check_counters(const Packets& is, int pid) {
    int last = -1;
    for (const PacketBytes& bytes : is) {
        const Packet packet(bytes.data());
        if (packet.pid() != pid || packet.head().transport_error_indicator()) continue;
        const int counter = packet.head().continuity_counter();
        const int due = packet.has_payload() ? (last + 1) & 15 : last;
        require(last < 0 || counter == due, "a table's packets are numbered in order");
        last = counter;
    }
}

size_t wrong_crcs(const Packets& packets, int pid) {
    size_t wrong = 0;
    for_each_section(packets, pid, [&](const Section& section) { wrong += !section.is_sound(); });
    return wrong;
}

// When one programme is cut out, the number given to a table that is left out may be another
// stream's.
bool is_shared(const RemapChoice& choice, const Packets& was, int pid) {
    return std::any_of(was.begin(), was.end(), [&](const PacketBytes& packet) {
        const int other = pid_of(packet);
        return other != pid && new_pid(choice, other) == new_pid(choice, pid);
    });
}

}  // namespace

RemapChoice choose_remap(ByteSource& in, std::span<const uint8_t> stream) {
    RemapChoice choice;
    std::set<int> seen;
    for (const PacketBytes& packet : packets_of(stream))
        seen.insert(pid_of(packet));
    const std::vector<int> pids(seen.begin(), seen.end());
    const int flags = in.u8();
    choice.options.drop_nulls = flags & 1;
    if (flags & 2) choice.options.from = std::to_string(1 + in.u8() % 8);
    if (flags & 4) choice.options.programs.push_back(std::to_string(1 + in.u8() % 8) + ":700");
    for (int i = flags >> 4; i > 0 && !pids.empty(); --i) {
        const int pid = pids[in.u8() % pids.size()], to = 0x100 + in.u8() * 16;
        if (pid < 0x20 || pid == zv::kPidNull || choice.pids.contains(pid)) continue;
        choice.pids[pid] = to;
        choice.options.maps.push_back(std::to_string(pid) + ":" + std::to_string(to));
    }
    if ((flags & 8) && !pids.empty()) {
        const int pid = pids[in.u8() % pids.size()];
        if (pid >= 0x10 && pid != zv::kPidNull) choice.dropped.insert(pid);
    }
    for (const int pid : choice.dropped)
        choice.options.drops.push_back(std::to_string(pid));
    return choice;
}

void check_remap(const RemapChoice& choice, std::span<const uint8_t> stream,
                 std::span<const uint8_t> copy) {
    const Packets was = packets_of(stream), is = packets_of(copy);
    require(choice.options.drop_nulls || is.size() >= was.size(), "no packet is lost");
    const std::set<int> old_tables = table_pids(was);
    std::set<int> new_tables;
    for (const int pid : old_tables)
        if (!choice.dropped.contains(pid)) new_tables.insert(new_pid(choice, pid));
    const Packets expected = expected_others(choice, was, old_tables);
    const Packets found = others(is, new_tables);
    if (choice.options.from.empty())
        require(found == expected, "what is no table is as it was");
    else
        require(are_among(found, expected), "what is no table is part of what was");
    for (const int pid : old_tables) {
        const int now = new_pid(choice, pid);
        if (choice.dropped.contains(pid)) continue;
        if (!choice.options.from.empty() && is_shared(choice, was, pid)) continue;
        require(wrong_crcs(is, now) <= wrong_crcs(was, pid), "no table is damaged");
    }
    const bool rewrites = !choice.options.from.empty() || !choice.options.programs.empty();
    for (const int pid : {0, 0x11, 0x12})
        if (rewrites) check_counters(is, pid);
}

}  // namespace fuzz
