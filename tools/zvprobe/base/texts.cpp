// SPDX-License-Identifier: MIT
// Implementation of texts.h.
#include "base/texts.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zvprobe {

namespace {

std::string formatted(const char* format, uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

std::string hex(uint32_t value) {
    return formatted("%#x", value);
}

std::string pid_text(uint16_t pid) {
    return formatted("0x%x", pid);
}

std::string hex_byte(uint8_t value) {
    return formatted("0x%02x", value);
}

std::string counted(uint64_t count, std::string_view one, std::string_view many) {
    return std::to_string(count).append(" ").append(count == 1 ? one : many);
}

std::string hex_bytes(std::span<const uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (const uint8_t byte : bytes)
        out.append({kDigits[byte >> 4], kDigits[byte & 15]});
    return out;
}

std::string number_text(double value) {
    constexpr double kLargestPlain = 1e15;
    char text[32];
    const bool plain =
        value > -kLargestPlain && value < kLargestPlain && value == std::trunc(value);
    const auto format = plain ? std::chars_format::fixed : std::chars_format::general;
    const auto result = std::to_chars(text, text + sizeof text, value, format);
    return {text, result.ptr};
}

std::string time_text(double seconds) {
    constexpr double kLongest = 1e15;  // that the numbers below can hold
    const auto in_ms =
        static_cast<int64_t>(std::round(std::clamp(seconds * 1000, -kLongest, kLongest)));
    const int64_t ms = std::abs(in_ms);
    char text[64];
    std::snprintf(text, sizeof text, "%s%" PRId64 ":%02d:%02d.%03d", in_ms < 0 ? "-" : "",
                  ms / 3'600'000, static_cast<int>(ms / 60'000 % 60),
                  static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
    return text;
}

std::string fixed(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

}  // namespace zvprobe
