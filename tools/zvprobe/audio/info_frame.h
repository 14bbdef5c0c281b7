// SPDX-License-Identifier: MIT
// The frame in which encoders put facts about a Layer III file where the first frame's sound would
// be ("Xing", "Info" or "VBRI"). Making one is info_frame_maker.h.
#pragma once

#include <string>
#include <vector>

#include "audio/frame_head.h"

namespace zvprobe {

struct InfoFrame {
    uint64_t offset = 0;
    std::string kind;  // "Xing", "Info" or "VBRI"
    std::optional<uint32_t> frames;
    std::optional<uint32_t> bytes;
    bool seek_table = false;
    std::optional<uint32_t> quality;

    // Of the extension that LAME began, 36 bytes; empty without one.
    std::vector<uint8_t> extension;
    std::string encoder;
    uint32_t delay = 0;    // samples before the sound,
    uint32_t padding = 0;  // and after it

    // Where delay and padding stand in the extension, 12 bits each; the bytes of the file from this
    // frame on; the CRCs of what follows it, and of itself up to there.
    static constexpr size_t kExtension = 36;
    static constexpr size_t kDelayAt = 21;
    static constexpr size_t kLengthAt = 28;
    static constexpr size_t kSoundCrcAt = 32;
    static constexpr size_t kOwnCrcAt = 34;

    // What the flags after the mark announce.
    static constexpr uint32_t kHasFrames = 1;
    static constexpr uint32_t kHasBytes = 2;
    static constexpr uint32_t kHasTable = 4;
    static constexpr uint32_t kHasQuality = 8;

    static constexpr size_t kTableEntries = 100;
};

// -> nothing when the frame is like others
std::optional<InfoFrame> read_info_frame(const MpegAudioHeader& header,
                                         std::span<const uint8_t> frame);

}  // namespace zvprobe
