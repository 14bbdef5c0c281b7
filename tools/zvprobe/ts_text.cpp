// SPDX-License-Identifier: MIT
// Implementation of ts_text.h.
#include "ts_text.h"

#include <cstdio>

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

}  // namespace zvprobe
