// SPDX-License-Identifier: MIT
// The bytes of a stream since the last packets that a survey found in it. A survey stays with the
// packet size that it has found first, and these may be packets of another size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zvprobe {

class UnframedBytes {
  public:
    // As SurveyCallbacks::on_packets.
    void see_packets(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset);

    // The survey was given these bytes, and its packets were seen.
    void keep(std::span<const uint8_t> bytes);

    // -> is it time to look at them? It never is of a stream in sync
    bool are_many() const { return bytes_.size() >= kMany; }

    // -> the bytes, which are kept no more
    std::vector<uint8_t> release();

  private:
    // Looking takes some 20 us, a hundredth of the time in which as many come at 16 Mbit/s.
    static constexpr size_t kMany = size_t{4} << 10;

    std::vector<uint8_t> bytes_;
    uint64_t given_ = 0;       // bytes, to the survey
    uint64_t framed_ = 0;      // of these, up to the last packet that is no accident
    uint64_t run_length_ = 0;  // packets in a row
    uint64_t run_end_ = 0;     // where the next one of the run begins
};

// -> bytes of a packet that follow what is its own, as UnframedBytes has it
size_t parity_size(uint64_t packet_size);

// -> of the packets in the bytes; 0 when there are none
size_t packet_size_of(std::span<const uint8_t> bytes);

}  // namespace zvprobe
