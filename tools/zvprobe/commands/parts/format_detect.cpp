// SPDX-License-Identifier: MIT
// Implementation of format_detect.h: the formats in the order in which they are tried.
#include "commands/parts/format_detect.h"

#include "audio/mpeg_audio_walk.h"
#include "flv/flv_walk.h"
#include "mpeg/ts_packet/framing.h"

namespace zvprobe {

bool holds_packets(std::span<const uint8_t> first_bytes, bool whole) {
    zv::Framer framer;
    framer.next(first_bytes, whole);
    return framer.counts().packet_size > 0;
}

DetectedFormat detect_format(std::span<const uint8_t> first_bytes, bool whole) {
    // A signature at the very start: packets are also looked for after bytes out of sync, and
    // among an FLV file's payload some bytes may line up.
    if (starts_like_flv(first_bytes)) return FlvStart{};
    if (holds_packets(first_bytes, whole)) return TransportStream{};
    if (starts_like_mpeg_audio(first_bytes, whole)) return MpegAudioStart{};
    return NoKnownFormat{};
}

}  // namespace zvprobe
