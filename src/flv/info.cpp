// SPDX-License-Identifier: MIT
// Renders a probe's findings as one line of text. The numbers may come from a host, so none is
// converted before it is known to fit.
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

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

__attribute__((format(printf, 2, 3))) void append(char* out, const char* format, ...) {
    char piece[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(piece, sizeof piece, format, arguments);
    va_end(arguments);
    memcpy(out + strlen(out), piece, strlen(piece) + 1);
}

}  // namespace

void flv_api_getInfo(const FLVProbe* probe, char* out) {
    if (probe == nullptr || out == nullptr) return;
    const FLVMetadata& summary = probe->metadata;
    if (probe->hasvideo == 1) {
        append(out, "video:%s", name_of(kVideoNames, summary.videocodecid));
        append(out, ",%0.2f", summary.framerate);
        append(out, ",%dX%d,", clamped_int(summary.width), clamped_int(summary.height));
    }
    if (probe->hasaudio == 1) {
        append(out, "audio:%s", name_of(kAudioNames, summary.audiocodecid));
        append(out, ",%d", clamped_int(summary.audiosamplerate));
    }
}
