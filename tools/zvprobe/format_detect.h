// SPDX-License-Identifier: MIT
// Tells a source's format from its first bytes.
#pragma once

#include <cstdint>
#include <span>
#include <variant>

#include "ts_sync.h"

namespace zvprobe {

struct UnknownFormat {};
struct FlvStart {};
struct MpegAudioStart {};

// Each format with what its reader starts from.
using DetectedFormat = std::variant<UnknownFormat, SyncPoint, FlvStart, MpegAudioStart>;

// whole: true when `first_bytes` is all there is
DetectedFormat detect_format(std::span<const uint8_t> first_bytes, bool whole);

}  // namespace zvprobe
