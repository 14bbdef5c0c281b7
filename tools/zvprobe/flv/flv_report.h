// SPDX-License-Identifier: MIT
// What is known of an FLV source after walking it: the facts, without any layout.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "flv.h"
#include "flv/amf_values.h"
#include "flv/codecs/codec_config.h"
#include "flv/codecs/picture_size.h"
#include "flv/flv_times.h"
#include "flv/flv_walk.h"

namespace zvprobe {

// A codec's configuration as the first such tag has it that is not encrypted.
struct FlvConfig {
    uint64_t tags = 0;           // how many tags carry one
    uint64_t changes = 0;        // how many of them differ from the one before
    uint64_t length = 0;         // bytes
    std::vector<uint8_t> bytes;  // the first of them
    std::vector<uint8_t> last;   // those of the last such tag
};

// One track of audio or video.
struct FlvTrack {
    uint64_t tags = 0;
    uint64_t body_bytes = 0;
    uint64_t frames = 0;  // packets that are no configuration or mark; audio: that carry sound
    uint64_t frames_without_config = 0;  // that came before the configuration they need
    std::optional<FlvCodec> first_codec;
    FlvConfig config;

    // As in the first tag that could be looked into.
    FlvCodec codec() const { return first_codec.value_or(FlvCodec()); }
};

struct FlvAudio : FlvTrack {
    bool stereo = false;     // as the head of the first tag has it, as the next two
    bool wide = false;       // 16-bit samples
    uint32_t rate_code = 0;  // 0..3
    std::optional<AacConfig> aac;
    SoundFormat
        sound;  // as it is decoded: as its data have it, or else its codec or the tag's head
};

struct FlvVideo : FlvTrack {
    uint64_t key_frames = 0;
    bool ends_with_key_frame = false;
    std::optional<AvcConfig> avc;
    std::optional<zv::survey::VideoDetails> picture;  // as the configuration has it
    std::optional<PictureSize> size;                  // as the codec has it
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

// A value of onMetaData that is not what was measured.
struct MetadataDifference {
    std::string key;
    AmfValue stated;
    double measured;
    bool is_error;  // false: writers give the rate that an encoder was to have
};

inline constexpr std::string_view kOnMetaData = "onMetaData";

struct FlvReport {
    static constexpr size_t kMaxScripts = 16;

    FlvReading reading;
    bool whole = false;  // read to the end of the source
    uint64_t audio_tags = 0;
    uint64_t video_tags = 0;
    uint64_t script_tags = 0;
    uint64_t other_tags = 0;
    uint64_t filtered_tags = 0;  // of all types
    FlvAudio audio;              // the only track, or the first of several
    FlvVideo video;
    std::map<uint8_t, FlvAudio> more_audio;  // further tracks, by their number
    std::map<uint8_t, FlvVideo> more_video;
    FlvTimes times;
    uint64_t meta_data_tags = 0;     // onMetaData
    std::vector<FlvScript> scripts;  // the first of all script tags
    FlvLibraryView library;
    std::vector<MetadataDifference> differences;

    double duration() const;  // s, from the first frame to the end of the last

    // -> kbit/s of the bodies of a track over the whole duration; 0 when that is 0
    double data_rate(const FlvTrack& track) const;
    // -> the same as onMetaData has it: other writers, and those who check, take 1024 bits a kbit
    double metadata_rate(const FlvTrack& track) const { return data_rate(track) * 1000 / 1024; }

    // -> the first onMetaData, and the value of that name in it; null when there is none
    const FlvScript* meta_data() const;
    const AmfValue* metadata(std::string_view key) const;
};

// -> frames per second as their time stamps tell; 0 when there are too few
double video_frame_rate(const FlvReport& report);

// -> true when the file has errors: wrong size words, bytes of no tag, nothing the library accepts,
//    and what has_wrong_facts finds
bool has_findings(const FlvReport& report);

}  // namespace zvprobe
