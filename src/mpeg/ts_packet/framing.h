// SPDX-License-Identifier: MIT
// Where packets start (ISO/IEC 13818-1, 2.4.3.2): finds the packet size (188 bytes, 192 with a time
// code in front, 204 with parity at the end) and the first packet, keeps in step, finds the next packet
// after sync was lost, and accounts for every byte. What is in a packet is left to others.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg/ts_packet/packet_fields.h"

namespace zv {

// What the account of bytes says so far.
struct FramingCounts {
    size_t packet_size = 0;  // 0 until a packet was found
    uint64_t packets = 0;
    uint64_t trailing_bytes = 0;
    uint64_t first_sync_offset = 0;
    uint64_t skipped_bytes = 0;
    uint64_t byte_errors = 0;
    uint64_t losses = 0;
    uint64_t loss_skipped_bytes = 0;  // of the last of these, so far
};

class Framer {
  public:
    // The most bytes that a decision may need. Given as many, next() takes some.
    static constexpr size_t kLookAhead = size_t{7} * kParityPacketSize;

    enum class What {
        kPackets,    // `count` packets in sync at `packets`
        kByteError,  // one place without a sync byte, passed over
        kLoss,       // two in a row: a start is sought from here
        kPassed,     // bytes that belong to no packet
        kNeedsMore,  // nothing more can be said without more bytes
    };

    struct Step {
        What what;
        size_t taken = 0;  // bytes of the input
        const uint8_t* packets = nullptr;
        size_t count = 0;
    };

    // Takes one step.
    // rest  in  what follows the bytes that were taken
    // last  in  true when the input ends with them
    Step next(std::span<const uint8_t> rest, bool last);

    const FramingCounts& counts() const { return counts_; }

    // -> places of packets from the first packet on, those without a sync byte included
    double places() const {
        const uint64_t size = counts_.packet_size;
        return static_cast<double>(counts_.packets) +
               (size ? static_cast<double>(counts_.skipped_bytes - skipped_first_) /
                           static_cast<double>(size)
                     : 0);
    }

    // -> bytes taken so far: where `rest` begins in the input
    uint64_t offset() const { return offset_; }

  private:
    enum class Phase { kFirst, kInSync, kLost, kEnded };

    Step find_first(std::span<const uint8_t> rest, bool last);
    Step find_again(std::span<const uint8_t> rest, bool last);
    Step step_in_sync(std::span<const uint8_t> rest, bool last);
    Step no_sync_byte(std::span<const uint8_t> rest, bool last);
    Step end_in_sync(std::span<const uint8_t> rest);
    Step take(Step step);
    bool is_time_code_of_known_packet(std::span<const uint8_t> rest, size_t at) const;
    void skip(size_t count);
    size_t time_code_size() const;
    size_t whole_packet() const;

    Phase phase_ = Phase::kFirst;
    uint64_t offset_ = 0;
    FramingCounts counts_;
    uint64_t lost_at_ = 0;                                     // where sync was lost
    uint64_t skipped_first_ = 0;                               // bytes before the first packet
    std::array<uint8_t, kTimeCodedPacketSize> last_packet_{};  // one that no time code follows
};

}  // namespace zv
