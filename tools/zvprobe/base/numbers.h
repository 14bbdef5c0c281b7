// SPDX-License-Identifier: MIT
// Numbers of the command line: decimal, or hexadecimal after "0x". A leading 0 is no octal.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zvprobe {

// A value that a command cannot work with; the text is for the user.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// -> nothing when the text is no such number or above `most`
std::optional<uint32_t> parse_number(std::string_view text, uint32_t most);

// As parse_number. what: names the value in the message. Throws UsageError.
uint16_t number_from(std::string_view text, uint32_t least, uint32_t most, const char* what);

// A PID that may carry a table or a stream. Throws UsageError.
uint16_t pid_from(std::string_view text, const char* what);

// -> the pieces between the separators
std::vector<std::string_view> split(std::string_view text, char separator);

}  // namespace zvprobe
