// SPDX-License-Identifier: MIT
// Implementation of faults.h.
#include "faults.h"

#include <algorithm>

namespace fuzz::maker {
namespace {

using Packets = std::vector<Bytes>;

constexpr uint8_t kDiscontinuity = 0x80, kPcrFlag = 0x10;

bool is_null(const Bytes& packet) {
    return (packet[1] & 0x1F) == 0x1F && packet[2] == 0xFF;
}

bool same_pid(const Bytes& a, const Bytes& b) {
    return ((a[1] ^ b[1]) & 0x1F) == 0 && a[2] == b[2];
}

bool has_flags(const Bytes& packet) {
    return (packet[3] & 0x20) != 0 && packet[4] > 0;
}

bool has_pcr(const Bytes& packet) {
    return has_flags(packet) && packet[4] >= 7 && (packet[5] & kPcrFlag) != 0;
}

void insert(Packets& packets, size_t at, const Bytes& packet) {
    at = std::min(at, packets.size());
    // In the place of a null packet where there is one: the rate stays what it is.
    if (at < packets.size() && is_null(packets[at])) {
        packets[at] = packet;
    } else {
        packets.insert(packets.begin() + static_cast<ptrdiff_t>(at), packet);
    }
}

void repeat(Packets& packets, size_t at, Chooser& choose) {
    Bytes copy = packets[at];
    if (has_pcr(copy)) copy[9] = static_cast<uint8_t>(copy[9] + choose.below(2));
    switch (choose.below(5)) {
        case 0:
            copy[187] ^= 1;
            break;
        case 1:
            insert(packets, at + 1, copy);
            break;
        default:
            break;
    }
    insert(packets, at + 1 + choose.below(3), copy);
}

Bytes adaptation_only(const Bytes& like, Chooser& choose) {
    Bytes packet(188, 0xFF);
    std::copy_n(like.begin(), 4, packet.begin());
    packet[1] &= 0xBF;
    packet[3] = static_cast<uint8_t>(0x20 | ((like[3] + (choose.one_in(4) ? 1 : 0)) & 15));
    packet[4] = 183;
    packet[5] = choose.one_of<uint8_t>({0, 0, 0x40, kDiscontinuity});
    return packet;
}

void scramble(Packets& packets, size_t at, Chooser& choose) {
    const Bytes like = packets[at];
    size_t left = choose.one_in(3) ? 1 : choose.below(400);
    for (; at < packets.size() && left > 0; ++at, --left) {
        if (same_pid(packets[at], like) && (packets[at][3] & 0x10) != 0) packets[at][3] |= 0x80;
    }
}

void signal(Bytes& packet, bool out_of_order) {
    if (has_flags(packet)) packet[5] |= kDiscontinuity;
    if (has_flags(packet) && out_of_order) packet[3] ^= 0x04;
}

void add_fault(Packets& packets, size_t at, Chooser& choose) {
    Bytes& packet = packets[at];
    switch (choose.below(14)) {
        case 0:
        case 1:
        case 2:
            return repeat(packets, at, choose);
        case 3:
            packets.erase(packets.begin() + static_cast<ptrdiff_t>(at));
            return;
        case 4:
            packet[3] = static_cast<uint8_t>((packet[3] & 0xF0) | choose.below(16));
            return;
        case 5:
            packet[1] |= 0x80;
            return;
        case 6:
            return scramble(packets, at, choose);
        case 7:
            return signal(packet, choose.one_in(2));
        case 8:
            return insert(packets, at + 1, adaptation_only(packet, choose));
        case 9:
            packet[3] |= 0x30;
            packet[4] = static_cast<uint8_t>(choose.between(183, 255));
            return;
        case 10:
            packet[4 + choose.below(184)] ^= static_cast<uint8_t>(1 + choose.below(255));
            return;
        case 11:
            packet[3] &= static_cast<uint8_t>(choose.one_in(2) ? 0xCF : 0xEF);
            return;
        case 12:
            if (at + 1 < packets.size()) std::swap(packet, packets[at + 1]);
            return;
        default:
            std::generate(packet.begin() + 4 + choose.below(180), packet.end(),
                          [&] { return choose.byte(); });
    }
}

Bytes noise(Chooser& choose, size_t size) {
    Bytes bytes(size);
    for (uint8_t& byte : bytes)
        byte = choose.one_in(8) ? 0x47 : choose.byte();
    return bytes;
}

// Mostly that of a packet with data, every third time one of a low PID, with a table.
size_t some_place(const Packets& packets, Chooser& choose) {
    const bool of_tables = choose.one_in(3);
    size_t at = choose.below(static_cast<uint32_t>(packets.size()));
    for (int tries = 0; tries < 100; ++tries, ++at) {
        const Bytes& packet = packets[at %= packets.size()];
        const bool low_pid = (packet[1] & 0x1F) == 0;
        if (of_tables ? low_pid : !is_null(packet)) break;
    }
    return at % packets.size();
}

void break_sync(std::vector<Bytes>& cells, size_t sync_at, Chooser& choose) {
    const size_t at = choose.below(static_cast<uint32_t>(cells.size()));
    const size_t wrong = choose.one_of({1u, 1u, 2u, 3u, 7u});
    switch (choose.below(4)) {
        case 0: {
            const Bytes junk = noise(choose, 1 + choose.below(400));
            append(cells[at], junk);
            break;
        }
        case 1:
            cells[at].resize(cells[at].size() - choose.below(100));
            break;
        default:
            for (size_t i = at; i < std::min(at + wrong, cells.size()); ++i)
                cells[i][sync_at] = 0x46;
    }
}

}  // namespace

void add_packet_faults(std::vector<Bytes>& packets, Chooser& choose) {
    const uint32_t faults = choose.one_in(3) ? 0 : choose.below(choose.one_in(6) ? 200 : 12);
    for (uint32_t i = 0; i < faults && packets.size() > 100; ++i)
        add_fault(packets, some_place(packets, choose), choose);
}

std::vector<uint8_t> join(const std::vector<Bytes>& packets, Chooser& choose) {
    const size_t size = choose.one_of({188u, 188u, 188u, 188u, 192u, 204u});
    const size_t sync_at = size == 192 ? 4 : 0;
    std::vector<Bytes> cells;
    uint32_t time_code = choose.one_in(4) ? 0x47000000 : 0x12345678;
    for (const Bytes& packet : packets) {
        Bytes cell;
        if (size == 192) zvtest::append32(cell, time_code += 0x1234);
        append(cell, packet);
        cell.resize(size, choose.one_in(50) ? 0x47 : 0xF0);
        cells.push_back(std::move(cell));
    }
    const uint32_t faults = choose.one_in(2) ? 0 : choose.below(6);
    for (uint32_t i = 0; i < faults; ++i)
        break_sync(cells, sync_at, choose);
    Bytes out;
    if (choose.one_in(12)) out = noise(choose, choose.below(600));
    for (const Bytes& cell : cells)
        append(out, cell);
    if (choose.one_in(8)) out.erase(out.begin(), out.begin() + choose.between(1, 5));
    if (choose.one_in(6)) out.resize(out.size() - choose.below(1000));
    return out;
}

}  // namespace fuzz::maker
