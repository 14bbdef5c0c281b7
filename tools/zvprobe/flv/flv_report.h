// SPDX-License-Identifier: MIT
// What is known of an FLV source after walking it: the facts, without any layout.
#pragma once

#include <string>
#include <vector>

#include "flv.h"
#include "flv/amf_values.h"
#include "flv/codec_config.h"
#include "flv/flv_walk.h"

namespace zvprobe {

// A codec's configuration as the first such tag has it.
struct FlvConfig {
    uint64_t tags = 0;           // how many tags carry one
    uint32_t length = 0;         // bytes
    std::vector<uint8_t> bytes;  // the first 1024 of them
};

// The audio or the video tags.
struct FlvTrack {
    uint64_t tags = 0;
    uint64_t body_bytes = 0;
    uint64_t frames = 0;      // tags that are no configuration or end mark; audio: that carry sound
    uint32_t first_time = 0;  // ms, of the frames
    uint32_t last_time = 0;
    uint8_t codec = 0;  // as in the first tag
    FlvConfig config;
};

struct FlvAudio : FlvTrack {
    bool stereo = false;     // as the first tag has it; AAC knows better in its configuration
    bool wide = false;       // 16-bit samples
    uint32_t rate_code = 0;  // 0..3
    std::optional<AacConfig> aac;
};

struct FlvVideo : FlvTrack {
    uint64_t key_frames = 0;
    bool ends_with_key_frame = false;
    std::optional<AvcConfig> avc;
    std::optional<PictureSize> size;  // as the codec has it
};

struct FlvScript {
    uint64_t offset;  // of its tag
    ScriptData data;
};

// What the library makes of the tags.
struct FlvLibraryView {
    bool accepted = false;
    std::string info;
    FLVMetadata metadata = {};
};

inline constexpr std::string_view kOnMetaData = "onMetaData";

struct FlvReport {
    static constexpr size_t kMaxScripts = 16;

    FlvReading reading;
    FlvAudio audio;
    FlvVideo video;
    uint64_t script_tags = 0;
    uint64_t other_tags = 0;
    uint64_t filtered_tags = 0;      // of all types
    uint32_t last_time = 0;          // ms: the largest timestamp
    std::vector<FlvScript> scripts;  // the first of them
    FlvLibraryView library;

    double duration() const { return last_time / 1000.0; }  // s

    // -> kbit/s of the bodies of a track over the whole duration; 0 when that is 0
    double data_rate(const FlvTrack& track) const;

    // -> the value of that name in the first onMetaData, null when there is none
    const AmfValue* metadata(std::string_view key) const;
};

// -> the name of a codec in tag headers, "codec 1" for one without a name
std::string flv_audio_codec(uint8_t code);
std::string flv_video_codec(uint8_t code);

// Frames per second as their timestamps tell; 0 when there are too few.
double frame_rate(const FlvTrack& track);

// -> true when the file has errors: wrong size words, bytes of no tag, nothing the library accepts
bool has_findings(const FlvReport& report);

}  // namespace zvprobe
