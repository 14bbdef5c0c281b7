// SPDX-License-Identifier: MIT
// From the bytes of an MPEG audio source to its frames: passes over tags and a RIFF file's chunks,
// finds the next frame after damage, and accounts for every byte. Frames can only be walked with the
// true values of their headers, which the library's check (mp3.h) does not always give: the survey's
// parser reads them.
#pragma once

#include <functional>
#include <limits>
#include <vector>

#include "audio/audio_tags.h"
#include "audio/frame_head.h"
#include "base/capped_list.h"
#include "io/byte_cursor.h"

namespace zvprobe {

struct TagCount {
    uint64_t tags = 0;
    uint64_t bytes = 0;
};

// Read to its end, all bytes are accounted for.
struct MpegAudioReading {
    uint64_t bytes = 0;
    TagCount id3v2;
    TagCount id3v1;
    TagCount ape;
    TagCount lyrics3;
    uint64_t riff_bytes = 0;  // of a RIFF file's chunks around the sound
    uint64_t frames = 0;
    uint64_t frame_bytes = 0;
    CappedList<Gap> stray;        // runs of bytes that belong to no frame
    uint64_t stray_bytes = 0;     // of these
    uint64_t trailing_bytes = 0;  // of the frame that the end cut off
    bool cut_short = false;       // a signal came before the end

    uint64_t accounted_bytes() const {
        return id3v2.bytes + id3v1.bytes + ape.bytes + lyrics3.bytes + riff_bytes + frame_bytes +
               stray_bytes + trailing_bytes;
    }
};

// Does a source that begins with these bytes hold MPEG audio? It may begin with tags; when those
// reach beyond the bytes, the answer is yes, and only reading tells. Bytes of no frame may stand in
// front, up to 64 KiB.
// whole  in  true when that is all of it
bool starts_like_mpeg_audio(std::span<const uint8_t> bytes, bool whole);

// Something wrong in a source.
struct MpegAudioFinding {
    enum class Kind {
        kStray,        // `found` bytes that belong to no frame
        kCutFrame,     // the end of the source cut the frame off, `found` bytes are left of it
        kChange,       // `header` is not of the version, layer or sampling rate before
        kCrc,          // the frame's CRC is `told`, that of its bytes `found`
        kInfoFrames,   // the info frame says `told` frames, there are `found`
        kInfoBytes,    // the same for bytes of frames
        kNoInfoFrame,  // the bit rate varies and no info frame says how long the file is
    };

    Kind kind;
    uint64_t offset;
    uint64_t found = 0;
    uint64_t told = 0;
    std::optional<MpegAudioHeader> header = {};
};

// Called with what is found, as it is found; each may be empty.
struct MpegAudioListeners {
    std::function<void(const MpegAudioFinding&)> on_finding;
    // first_bytes: of the tag, at most MpegAudioWalk::kMostOfTag
    std::function<void(const AudioTag&, std::span<const uint8_t> first_bytes)> on_tag;
};

class MpegAudioWalk {
  public:
    struct Frame {
        uint64_t offset;
        FrameHead head;
        std::span<const uint8_t> bytes;  // valid until the next call
    };

    static constexpr size_t kMostOfTag = size_t{1} << 20;

    MpegAudioWalk(ByteCursor& cursor, const MpegAudioListeners& listeners);

    // -> the next frame; nothing at the end
    std::optional<Frame> next();

    const MpegAudioReading& reading() const { return reading_; }

  private:
    struct Place {
        size_t offset;  // of a frame or tag, or of the first byte that may still begin one
        bool found;
    };

    std::span<const uint8_t> peek(size_t count);
    uint64_t skip(uint64_t count);
    void read(uint64_t count, std::vector<uint8_t>& out);

    std::optional<Frame> read_frame();
    bool is_in_step(FrameHead& head);
    bool read_cut_frame();
    bool skip_riff();
    bool skip_tag();
    bool skip_whole_tag(AudioTagKind kind, uint64_t size);
    bool skip_bare_ape();
    bool skip_lyrics();
    bool skip_lyrics_fields();
    bool skip_lyrics_text();
    Place find_frame(std::span<const uint8_t> bytes, size_t from, bool ends);
    Place find_next(std::span<const uint8_t> bytes, size_t from, bool ends);
    void skip_stray();
    void note_tag(const AudioTag& tag, std::span<const uint8_t> bytes);
    void note_stray(uint64_t offset);
    RunRule rule_for(const MpegAudioHeader& header) const;

    ByteCursor& cursor_;
    const MpegAudioListeners& listeners_;
    MpegAudioReading reading_;
    FrameReader reader_;
    std::optional<MpegAudioHeader> last_;    // the frame that ended here; nothing out of step
    std::optional<MpegAudioHeader> stream_;  // the last frame, wherever
    size_t to_pass_ = 0;                     // bytes of the frame that was given out

    // Of a RIFF file: where its sound ends, and where the file does.
    uint64_t data_end_ = std::numeric_limits<uint64_t>::max();
    uint64_t riff_end_ = 0;
};

}  // namespace zvprobe
