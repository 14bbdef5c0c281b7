// SPDX-License-Identifier: MIT
// What is known of an MPEG audio source after walking it: the facts, without any layout.
#pragma once

#include <functional>
#include <string>

#include "audio/mpeg_audio_walk.h"

namespace zvprobe {

struct MpegAudioReport {
    MpegAudioReading reading;

    // The first frame, as the tool reads it; its sampling rate and all that follows from it.
    uint64_t first_offset = 0;
    std::optional<MpegAudioHeader> first;

    // The same four bytes as the library reads them. Its check knows two channel modes and two
    // sampling rates of three, and has bit rates of its own for MPEG-2.
    std::string library_info;              // empty when it finds no header there
    std::vector<const char*> differences;  // members in which it does not agree with the tool

    // "Xing", "Info" or "VBRI" when the first frame holds facts about the file and no sound. It
    // does not count for what follows.
    std::string info_frame;
    uint32_t lowest_bitrate = 0;  // kbit/s
    uint32_t highest_bitrate = 0;
    uint64_t sound_bytes = 0;
    double duration = 0;  // s

    bool is_variable() const { return lowest_bitrate != highest_bitrate; }
    double average_bitrate() const;  // kbit/s
};

// Each may be empty.
struct MpegAudioListeners {
    OnMpegAudioFinding on_finding;                    // what is wrong
    std::function<void(uint64_t bytes)> on_progress;  // called now and then
};

// Walks the source to its end, or to a signal. Without a frame it is no MPEG audio after all.
// first_window  what source.next(0) gave
MpegAudioReport probe_mpeg_audio(Source& source, std::span<const uint8_t> first_window,
                                 const MpegAudioListeners& listeners);

// -> true when the source has bytes that belong to no whole frame and no tag
bool has_findings(const MpegAudioReport& report);

}  // namespace zvprobe
