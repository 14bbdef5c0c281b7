// SPDX-License-Identifier: MIT
// Renders a probe's findings as one line of text. The numbers may come from a host, so none is
// converted before it is known to fit.
#include <cmath>
#include <cstddef>
#include <limits>

#include "bitStream/piece_writer.h"
#include "flv.h"

namespace {

constexpr const char* kVideoNames[] = {
    "res0",
    "res",
    "H.263",
    "Screen video",
    "On2 VP6",
    "On2 VP6 with alpha channel",
    "Screen video version 2",
    "AVC(H.264)",
};

// The names of formats 14 and 15 stand in slots 12 and 13; the formats themselves have none.
constexpr const char* kAudioNames[] = {
    "PCM, platform endian",
    "ADPCM",
    "MP3",
    "PCM, little endian",
    "Nellymoser 16 kHz mono",
    "Nellymoser 8 kHz mono",
    "Nellymoser",
    "G.711 A-law logarithmic PCM",
    "G.711 mu-law logarithmic PCM",
    "reserved",
    "AAC",
    "Speex",
    "MP3 8 kHz",
    "Device-specific sound",
};

template <size_t N>
const char* name_of(const char* const (&names)[N], double code) {
    const bool has_name = code > -1.0 && code < static_cast<double>(N);  // false for a NaN
    return has_name ? names[static_cast<size_t>(std::fabs(std::trunc(code)))] : "";
}

int clamped_int(double value) {
    using Limits = std::numeric_limits<int>;
    if (std::isnan(value)) return 0;
    if (value <= Limits::min()) return Limits::min();
    if (value >= Limits::max()) return Limits::max();
    return static_cast<int>(value);
}

}  // namespace

void flv_api_getInfo(const FLVProbe* probe, char* out) {
    if (probe == nullptr || out == nullptr) return;
    const FLVMetadata& summary = probe->metadata;
    zv::PieceWriter<1024> line(out);
    if (probe->hasvideo == 1) {
        line.add("video:%s", name_of(kVideoNames, summary.videocodecid));
        line.add(",%0.2f", summary.framerate);
        line.add(",%dX%d,", clamped_int(summary.width), clamped_int(summary.height));
    }
    if (probe->hasaudio == 1) {
        line.add("audio:%s", name_of(kAudioNames, summary.audiocodecid));
        line.add(",%d", clamped_int(summary.audiosamplerate));
    }
}
