// SPDX-License-Identifier: MIT
// Numbers as texts, as messages and reports of all formats write them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zvprobe {

// -> "0x100", and "0" for 0, as the library writes PIDs
std::string hex(uint32_t value);

// -> "0x100", and "0x0" for 0
std::string pid_text(uint16_t pid);

// -> "0x0f"
std::string hex_byte(uint8_t value);

// -> the text of a fixed-size member, which may lack its terminator
template <size_t Size>
std::string_view bounded(const char (&text)[Size]) {
    const std::string_view all(text, Size);
    return all.substr(0, all.find('\0'));
}

// -> "1 byte", "2 bytes"
std::string counted(uint64_t count, std::string_view one, std::string_view many);

// -> "0aff"
std::string hex_bytes(std::span<const uint8_t> bytes);

// -> the number with as few digits as make it unique
std::string number_text(double value);

// -> "0:01:23.456": hours, minutes, seconds of stream time
std::string time_text(double seconds);

// -> the value with that many digits after the point
std::string fixed(double value, int digits);

}  // namespace zvprobe
