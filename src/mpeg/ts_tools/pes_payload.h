// SPDX-License-Identifier: MIT
// The elementary stream inside the packets of one PID: adaptation fields and PES headers (ISO/IEC
// 13818-1, 2.4.3.6) taken away. Which PID that is, and where the bytes go, is the caller's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg/ts_packet/pes_header.h"
#include "mpeg/ts_packet/ts_packet.h"

namespace zv {

class PesPayload {
  public:
    // Takes the next packet of the PID: 188 bytes. Packets before the first PES header, repeated,
    // scrambled and damaged ones give nothing, nor do bytes beyond PES_packet_length.
    // -> the elementary stream's bytes in it, part of the packet; often all of its payload
    std::span<const uint8_t> take(const uint8_t* packet);

  private:
    enum class State : uint8_t { kSkipping, kInHead, kInBody };

    bool is_repeat(uint8_t continuity_counter, std::span<const uint8_t> payload);
    std::span<const uint8_t> read_head(std::span<const uint8_t> payload);
    void enter_body();

    State state_ = State::kSkipping;
    bool is_bounded_ = false;
    uint32_t header_left_ = 0;  // of the header's optional fields
    uint32_t body_left_ = 0;    // when bounded
    size_t head_filled_ = 0;
    uint8_t head_[kPesFixedHeaderSize];
    size_t last_size_ = 0;  // of the payload before; 0 before the first
    uint8_t last_counter_ = 0;
    uint8_t last_payload_[kTsBodySize];
};

}  // namespace zv
