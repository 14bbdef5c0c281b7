// SPDX-License-Identifier: MIT
// Implementation of format_detect.h: the formats in the order in which they are tried.
#include "format_detect.h"

namespace zvprobe {

DetectedFormat detect_format(std::span<const uint8_t> first_bytes, bool whole) {
    if (const auto first = find_first_packet(first_bytes, whole)) return *first;
    return UnknownFormat{};
}

}  // namespace zvprobe
