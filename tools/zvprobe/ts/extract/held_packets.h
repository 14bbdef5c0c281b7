// SPDX-License-Identifier: MIT
// The latest packets that came before the tables named their PID, so that an extracted stream
// begins before its PMT, and without a gap.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <utility>
#include <vector>

#include "survey/packets/packet.h"

namespace zvprobe {

class HeldPackets {
  public:
    static constexpr size_t kMost = size_t{1} << 16;  // 12 MB

    // Takes a copy, if need be in place of the oldest one.
    void take(const zv::survey::Packet& packet) {
        const size_t slot = next_ % kMost;
        if (next_ < kMost)
            packets_.emplace_back();
        else
            forget(next_ - kMost);
        std::copy_n(packet.bytes(), zv::kTsPacketSize, packets_[slot].begin());
        by_pid_[packet.pid()].push_back(next_++);
    }

    // Gives away what is held of a PID: see(packet) for each, in order.
    template <typename See>
    void release(uint16_t pid, See see) {
        const auto found = by_pid_.extract(pid);
        if (found.empty()) return;
        for (const uint64_t number : found.mapped())
            see(zv::survey::Packet(packets_[number % kMost].data()));
    }

    void clear() {
        if (next_ == 0) return;
        packets_ = {};
        by_pid_.clear();
        next_ = 0;
    }

  private:
    void forget(uint64_t number) {
        const zv::survey::Packet packet(packets_[number % kMost].data());
        const auto found = by_pid_.find(packet.pid());
        if (found == by_pid_.end() || found->second.front() != number) return;
        found->second.pop_front();
        if (found->second.empty()) by_pid_.erase(found);
    }

    uint64_t next_ = 0;  // number of the next packet; its slot is that modulo kMost
    std::vector<std::array<uint8_t, zv::kTsPacketSize>> packets_;
    std::unordered_map<uint16_t, std::deque<uint64_t>> by_pid_;
};

}  // namespace zvprobe
