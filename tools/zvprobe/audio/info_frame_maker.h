// SPDX-License-Identifier: MIT
// A new info frame for a Layer III stream that has none, or a wrong one: counts, a seek table, and
// the extension of the old one.
#pragma once

#include <array>

#include "audio/info_frame.h"

namespace zvprobe {

// Where the frames begin, of as many as there are in bounded room.
class SeekTable {
  public:
    // size: bytes of the next frame
    void add(size_t size);

    uint64_t frames() const { return frames_; }
    uint64_t bytes() const { return bytes_; }

    // -> for each hundredth of the duration, how many 256ths of the bytes are before it
    // before  bytes that stand before the first frame and count as well
    std::vector<uint8_t> entries(uint64_t before) const;

  private:
    static constexpr size_t kMostPoints = size_t{1} << 14;

    std::vector<uint64_t> points_;  // bytes before each `step_`th frame
    uint64_t step_ = 1;
    uint64_t frames_ = 0;
    uint64_t bytes_ = 0;
};

// What a new info frame says.
struct InfoFacts {
    FrameHead like;                     // the first frame with sound
    std::array<uint8_t, 2> header_end;  // the last bytes of its header
    bool variable;                      // bit rate
    const InfoFrame* old;               // whose extension is kept; null for none
    bool same_end;                      // the sound ends where it did when the old one was made
    uint16_t sound_crc;                 // InfoCrc of all frames
};

// -> the size of the new frame; 0 when none fits the stream
size_t info_frame_size(const InfoFacts& facts);

std::vector<uint8_t> make_info_frame(const InfoFacts& facts, const SeekTable& table);

}  // namespace zvprobe
