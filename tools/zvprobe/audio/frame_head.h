// SPDX-License-Identifier: MIT
// Where a frame of MPEG audio begins and how long it is, at a free bit rate as well, where only the
// next header tells; and which headers in a row are no accident.
#pragma once

#include <array>

#include "survey/codecs/audio/mpeg_audio.h"

namespace zvprobe {

using zv::survey::MpegAudioHeader;

struct FrameHead {
    MpegAudioHeader header;  // its bit rate is worked out of the size where that is free
    bool free;
    size_t size;  // bytes, header included
};

// The most bytes of a frame that are looked for at a free bit rate.
constexpr size_t kMostFreeFrame = 4092;

// Reads headers, and knows how large frames at a free bit rate are: as the rate is constant, all of
// a stream have one size but for the padding.
class FrameReader {
  public:
    // -> nothing when no frame begins there; nor when one at a free bit rate does, and no header
    //    in step follows it within reach
    std::optional<FrameHead> read(std::span<const uint8_t> bytes) {
        if (bytes.size() < MpegAudioHeader::kSize) return std::nullopt;
        const Seen& seen = seen_[bytes[2]];
        if (seen.rest == rest_of(bytes)) return seen.head;
        return read_anew(bytes);
    }

    // Does a header stand there, whether or not its frame's size can be known?
    static bool is_header(std::span<const uint8_t> bytes);

    // Forgets the size of frames at a free bit rate if the bytes begin with a header of such a one:
    // another stream of the same kind has another size. -> true when reading may now tell otherwise
    bool doubt(std::span<const uint8_t> bytes);

  private:
    // Most frames have headers that were seen before: all that they say but for their third byte is
    // mostly the same. No four bytes have a rest of 1.
    struct Seen {
        uint32_t rest = 1;
        FrameHead head = {};
    };
    static uint32_t rest_of(std::span<const uint8_t> bytes) {
        return uint32_t{bytes[0]} << 16 | uint32_t{bytes[1]} << 8 | (bytes[3] & 0xC0U);
    }

    std::optional<FrameHead> read_anew(std::span<const uint8_t> bytes);
    std::optional<FrameHead> read_free(std::span<const uint8_t> bytes);
    bool knows(const MpegAudioHeader& header) const { return known_ && header.continues(*known_); }

    // A search looks at up to 4 KiB, and junk may call for many.
    static constexpr unsigned kMostSearches = 1000;

    // The kind of frames at a free bit rate that the size, without padding, is of.
    std::optional<MpegAudioHeader> known_;
    size_t size_ = 0;
    unsigned searches_left_ = kMostSearches;
    std::array<Seen, 256> seen_;  // by the third byte
};

// Frames that must follow each other.
struct RunRule {
    size_t wanted;         // headers in a row; fewer do up to the end of the source, or to a tag
    size_t least_in_view;  // enough where the bytes end, and the source goes on
};

// -> true when frames follow each other from the first byte on
// ends  true when the source ends where the bytes do
bool run_of_frames(FrameReader& reader, std::span<const uint8_t> bytes, RunRule rule, bool ends);

}  // namespace zvprobe
