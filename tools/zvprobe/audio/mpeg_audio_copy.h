// SPDX-License-Identifier: MIT
// Which bytes of an MPEG audio file go into a copy without damage, and what its info frame says.
#pragma once

#include <vector>

#include "audio/info_frame_maker.h"
#include "audio/mpeg_audio_report.h"

namespace zvprobe {

// The frames with sound, with the tags before the first one and after the last one.
class MpegAudioCopyList {
  public:
    struct Piece {
        uint64_t offset;
        uint64_t length;
    };
    using Pieces = std::vector<Piece>;

    void add(const AudioTag& tag);
    void add(const MpegAudioWalk::Frame& frame, bool sound);

    const Pieces& tags_before() const { return before_; }
    const Pieces& frames() const { return frames_; }
    const Pieces& tags_after() const { return tags_; }
    uint64_t frame_count() const { return table_.frames(); }
    uint64_t tag_bytes_left_out() const { return left_out_; }  // of those between frames
    uint64_t bytes() const;                                    // of all pieces
    uint16_t sound_crc() const { return crc_.value(); }

    // -> the new info frame; empty where the stream can have none: there is one only for Layer III,
    //    and it does not hold for a stream that changes in the middle
    std::vector<uint8_t> make_info(const MpegAudioReport& report) const;

  private:
    Pieces before_;
    Pieces frames_;
    Pieces tags_;         // since the last frame
    bool begun_ = false;  // the first frame came
    uint64_t left_out_ = 0;
    SeekTable table_;
    InfoCrc crc_;
    InfoFacts facts_ = {};
};

}  // namespace zvprobe
