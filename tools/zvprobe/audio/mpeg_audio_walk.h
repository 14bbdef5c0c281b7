// SPDX-License-Identifier: MIT
// From the bytes of an MPEG audio source to its frames: passes over tags, finds the next frame after
// damage, and accounts for every byte. Frames can only be walked with the true values of their
// headers, which the library's check (mp3.h) does not always give: the survey's parser reads them.
#pragma once

#include <functional>

#include "base/capped_list.h"
#include "io/byte_cursor.h"
#include "survey/codecs/audio/mpeg_audio.h"

namespace zvprobe {

using zv::survey::MpegAudioHeader;

// Read to its end:
// bytes = id3v2_bytes + id3v1_bytes + frame_bytes + stray_bytes + trailing_bytes.
struct MpegAudioReading {
    uint64_t bytes = 0;
    uint64_t id3v2_tags = 0;
    uint64_t id3v2_bytes = 0;
    uint64_t id3v1_tags = 0;
    uint64_t id3v1_bytes = 0;
    uint64_t frames = 0;
    uint64_t frame_bytes = 0;
    CappedList<Gap> stray;        // runs of bytes that belong to no frame
    uint64_t stray_bytes = 0;     // of these
    uint64_t trailing_bytes = 0;  // of the frame that the end cut off
};

// Does a source that begins with these bytes hold MPEG audio? It may begin with ID3v2 tags; when
// those reach behind the bytes, the answer is yes, and only reading tells.
// whole  in  true when that is all of it
bool starts_like_mpeg_audio(std::span<const uint8_t> bytes, bool whole);

// Something wrong in a source.
struct MpegAudioFinding {
    enum class Kind {
        kStray,     // `count` bytes that belong to no frame
        kCutFrame,  // the end of the source cut the frame off, `count` bytes are left of it
    };

    uint64_t offset;
    Kind kind;
    uint64_t count;
};

using OnMpegAudioFinding = std::function<void(const MpegAudioFinding&)>;

class MpegAudioWalk {
  public:
    struct Frame {
        uint64_t offset;
        MpegAudioHeader header;
        std::span<const uint8_t> bytes;  // valid until the next call
    };

    // on_finding: called as they are found; may be empty
    MpegAudioWalk(ByteCursor& cursor, OnMpegAudioFinding on_finding)
        : cursor_(cursor), on_finding_(std::move(on_finding)) {}

    // -> the next frame; nothing at the end
    std::optional<Frame> next();

    const MpegAudioReading& reading() const { return reading_; }

  private:
    bool skip_tag();
    std::optional<Frame> read_frame();
    bool read_cut_frame();
    void skip_stray();
    void tell(const MpegAudioFinding& finding) const;

    ByteCursor& cursor_;
    OnMpegAudioFinding on_finding_;
    MpegAudioReading reading_;
    std::optional<MpegAudioHeader> last_;  // the frame that ended here; nothing out of step
    size_t to_pass_ = 0;                   // bytes of the frame that was given out
};

}  // namespace zvprobe
