// SPDX-License-Identifier: MIT
// The CRC of MPEG audio frames (ISO/IEC 11172-3, 2.4.3.1), and the one of encoders' info frames.
#pragma once

#include "audio/frame_head.h"

namespace zvprobe {

struct FrameCrc {
    uint16_t told;
    uint16_t found;  // of what it protects
};

// -> nothing when the frame has none, or is too short for what it would protect
// frame  all of it
std::optional<FrameCrc> check_frame_crc(const MpegAudioHeader& header,
                                        std::span<const uint8_t> frame);

// -> bytes of a Layer III frame's side information
size_t side_info_size(const MpegAudioHeader& header);

// CRC-16 with the polynomial 0x8005, reflected: info frames have one of all the sound after them
// and one of themselves.
class InfoCrc {
  public:
    void take(std::span<const uint8_t> bytes);
    uint16_t value() const { return value_; }

  private:
    uint16_t value_ = 0;
};

}  // namespace zvprobe
