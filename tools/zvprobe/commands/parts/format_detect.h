// SPDX-License-Identifier: MIT
// Tells a source's format from its first bytes.
#pragma once

#include <cstdint>
#include <span>
#include <variant>

namespace zvprobe {

struct NoKnownFormat {};
struct TransportStream {};
struct FlvStart {};
struct MpegAudioStart {};

using DetectedFormat = std::variant<NoKnownFormat, TransportStream, FlvStart, MpegAudioStart>;

// whole: true when `first_bytes` is all there is
bool holds_packets(std::span<const uint8_t> first_bytes, bool whole);
DetectedFormat detect_format(std::span<const uint8_t> first_bytes, bool whole);

}  // namespace zvprobe
