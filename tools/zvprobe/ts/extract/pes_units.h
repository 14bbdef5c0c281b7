// SPDX-License-Identifier: MIT
// The units of an elementary stream: PES packets (ISO/IEC 13818-1, 2.4.3.6), put together from the
// payloads of one PID, without their headers. What is missing of them is counted.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zvprobe {

struct PesCounts {
    uint64_t units = 0;          // with a sound header; padding is none
    uint64_t damaged = 0;        // of those, parts are missing
    uint64_t left_out = 0;       // without a beginning, or without a sound header
    uint64_t scrambled = 0;      // PES_scrambling_control is not 0
    uint64_t surplus_bytes = 0;  // after the end that PES_packet_length tells
};

class PesUnits {
  public:
    // Takes a payload, in order.
    // starts_unit  in  it begins with a PES header
    // -> the elementary stream's bytes in it
    std::span<const uint8_t> take(std::span<const uint8_t> payload, bool starts_unit);

    // Packets are missing. What comes of a unit after the gap still belongs to it: a decoder finds
    // the next frame in it, and can make more of that than of nothing.
    void lose();

    // The next packet does not go on with the unit under way.
    void cut_off();

    // There is no more to come.
    void finish() { cut_off(); }

    const PesCounts& counts() const { return counts_; }

  private:
    enum class State {
        kAwaiting,  // of a unit
        kHeader,
        kBody,
        kComplete,  // all that PES_packet_length tells is there
        kPassing,   // a unit that is left out
    };

    std::span<const uint8_t> take_header(std::span<const uint8_t> payload);
    State state_after_header();
    void mark_damaged();
    void end_unit();

    State state_ = State::kAwaiting;
    bool bounded_ = false;  // PES_packet_length tells the end
    bool damaged_ = false;  // the unit under way
    size_t left_ = 0;       // of the body, when bounded
    std::vector<uint8_t> header_;
    PesCounts counts_;
};

}  // namespace zvprobe
