// SPDX-License-Identifier: MIT
// What is known of an MPEG audio source after walking it: the facts, without any layout.
#pragma once

#include <functional>
#include <string>

#include "audio/frame_crc.h"
#include "audio/info_frame.h"
#include "audio/mpeg_audio_walk.h"
#include "audio/tag_texts.h"

namespace zvprobe {

// A frame that is not of the version, layer or sampling rate of the one before.
struct AudioChange {
    uint64_t offset;
    MpegAudioHeader header;
};

struct WrongCrc {
    uint64_t offset;
    FrameCrc crc;
};

struct MpegAudioReport {
    MpegAudioReading reading;

    // The first frame with sound, as the tool reads it; its sampling rate and all that follows from
    // it. Without any sound it is the info frame.
    uint64_t first_offset = 0;
    std::optional<MpegAudioHeader> first;
    bool free_format = false;

    // The same four bytes as the library reads them. Its check knows two channel modes and two
    // sampling rates of three, and has bit rates of its own for MPEG-2.
    std::string library_info;              // empty when it finds no header there
    std::vector<const char*> differences;  // members in which it does not agree with the tool

    // The first frame when it holds facts about the file and no sound. It does not count for what
    // follows.
    std::optional<InfoFrame> info;
    std::vector<const char*> info_differences;  // "frames" and "bytes" that are not the file's

    uint64_t sound_frames = 0;
    uint64_t sound_bytes = 0;
    uint32_t lowest_bitrate = 0;  // kbit/s
    uint32_t highest_bitrate = 0;
    double frames_duration = 0;  // s
    double duration = 0;         // s, less what the encoder says that it put before and after

    uint64_t protected_frames = 0;  // those with a CRC
    CappedList<WrongCrc> wrong_crcs;
    CappedList<AudioChange> changes;
    TagTexts texts;

    bool is_variable() const { return lowest_bitrate != highest_bitrate; }
    bool lacks_info() const { return is_variable() && !info && first->layer == 3; }
    bool ends_as_encoded() const;    // or more or fewer frames are there than the encoder counted
    double average_bitrate() const;  // kbit/s
};

struct MpegAudioProbeOptions : MpegAudioListeners {
    std::function<void(uint64_t bytes)> on_progress;                        // called now and then
    std::function<void(const MpegAudioWalk::Frame&, bool sound)> on_frame;  // info frame: no sound
};

// Walks the source to its end, or to a signal. Without a frame it is no MPEG audio after all.
// first_window  what source.next(0) gave
MpegAudioReport probe_mpeg_audio(Source& source, std::span<const uint8_t> first_window,
                                 const MpegAudioProbeOptions& options);

// -> true when the source has bytes that belong to no whole frame and no tag, a wrong CRC or info
//    frame, or changes in mid-stream
bool has_findings(const MpegAudioReport& report);

}  // namespace zvprobe
