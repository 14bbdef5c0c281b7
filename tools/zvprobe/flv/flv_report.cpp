// SPDX-License-Identifier: MIT
// Implementation of flv_report.h.
#include "flv/flv_report.h"

#include <array>

namespace zvprobe {
namespace {

constexpr std::array kAudioCodecs = {"linear PCM, platform endian",
                                     "ADPCM",
                                     "MP3",
                                     "linear PCM, little endian",
                                     "Nellymoser 16 kHz mono",
                                     "Nellymoser 8 kHz mono",
                                     "Nellymoser",
                                     "G.711 A-law",
                                     "G.711 mu-law",
                                     "",
                                     "AAC",
                                     "Speex",
                                     "",
                                     "",
                                     "MP3 8 kHz",
                                     "device-specific"};

constexpr std::array kVideoCodecs = {
    "", "", "Sorenson H.263", "Screen video", "VP6", "VP6 with alpha", "Screen video 2", "AVC"};

template <size_t Size>
std::string name_of(const std::array<const char*, Size>& names, uint8_t code) {
    if (code < Size && *names[code] != '\0') return names[code];
    return "codec " + std::to_string(code);
}

}  // namespace

const AmfValue* FlvReport::metadata(std::string_view key) const {
    for (const FlvScript& script : scripts) {
        if (script.data.name == kOnMetaData && !script.data.values.empty())
            return script.data.values.front().find(key);
    }
    return nullptr;
}

double FlvReport::data_rate(const FlvTrack& track) const {
    if (last_time == 0) return 0;
    return static_cast<double>(track.body_bytes) * 8 / last_time;
}

std::string flv_audio_codec(uint8_t code) {
    return name_of(kAudioCodecs, code);
}

std::string flv_video_codec(uint8_t code) {
    return name_of(kVideoCodecs, code);
}

double frame_rate(const FlvTrack& track) {
    if (track.frames < 2 || track.last_time <= track.first_time) return 0;
    return static_cast<double>(track.frames - 1) * 1000.0 / (track.last_time - track.first_time);
}

bool has_findings(const FlvReport& report) {
    const FlvReading& reading = report.reading;
    return reading.mismatches.count() != 0 || reading.skipped_bytes != 0 ||
           reading.trailing_bytes != 0 || !report.library.accepted;
}

}  // namespace zvprobe
