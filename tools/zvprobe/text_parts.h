// SPDX-License-Identifier: MIT
// What the text reports of all formats are made of.
#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "terminal.h"

namespace zvprobe {

// Begins a line of a report with its label; -> out
std::ostream& begin_line(std::ostream& out, const Style& style, std::string_view label);

std::string marked(const Style& style, bool good, std::string_view text);
std::string padded(std::string_view text, size_t width);

// -> "1 byte", "2 bytes"
std::string counted(uint64_t count, std::string_view one, std::string_view many);

// -> the text in quotation marks, safe to print
std::string quoted(std::string_view text);

// -> "0aff"
std::string hex_bytes(std::span<const uint8_t> bytes);

// -> the number with as few digits as make it unique
std::string number_text(double value);

// -> the value with that many digits behind the point
std::string fixed(double value, int digits);

}  // namespace zvprobe
