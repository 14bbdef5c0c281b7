// SPDX-License-Identifier: MIT
// Implementation of format_detect.h: the formats in the order in which they are tried.
#include "commands/format_detect.h"

#include "audio/mpeg_audio_walk.h"
#include "flv/flv_walk.h"
#include "ts/ts_sync.h"

namespace zvprobe {

DetectedFormat detect_format(std::span<const uint8_t> first_bytes, bool whole) {
    // A signature at the very start: packets are also looked for after bytes out of sync, and
    // among an FLV file's payload some bytes may line up.
    if (starts_like_flv(first_bytes)) return FlvStart{};
    if (find_first_packet(first_bytes, whole)) return TransportStream{};
    if (starts_like_mpeg_audio(first_bytes, whole)) return MpegAudioStart{};
    return UnknownFormat{};
}

}  // namespace zvprobe
