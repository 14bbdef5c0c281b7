// SPDX-License-Identifier: MIT
// Small pieces of text that several renderers of transport streams write.
#pragma once

#include <cstddef>
#include <cstdint>
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

}  // namespace zvprobe
