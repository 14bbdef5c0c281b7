// SPDX-License-Identifier: MIT
// Implementation of numbers.h.
#include "base/numbers.h"

#include <charconv>

#include "base/printable.h"
#include "base/texts.h"

namespace zvprobe {
namespace {

// PIDs below belong to tables with fixed PIDs, the one above to null packets (ISO/IEC 13818-1,
// table 2-3).
constexpr uint32_t kFirstPid = 0x0010;
constexpr uint32_t kLastPid = 0x1FFE;

}  // namespace

std::optional<uint32_t> parse_number(std::string_view text, uint32_t most) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);
    uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end || value > most) return std::nullopt;
    return value;
}

uint16_t number_from(std::string_view text, uint32_t least, uint32_t most, const char* what) {
    const auto value = parse_number(text, most);
    if (value && *value >= least) return static_cast<uint16_t>(*value);
    throw UsageError(std::string(what) + " " + in_quotes(text) + " is no number from " +
                     std::to_string(least) + " to " + std::to_string(most));
}

uint16_t pid_from(std::string_view text, const char* what) {
    const auto value = parse_number(text, kLastPid);
    if (value && *value >= kFirstPid) return static_cast<uint16_t>(*value);
    throw UsageError(std::string(what) + " " + in_quotes(text) + " is no PID from " +
                     hex(kFirstPid) + " to " + hex(kLastPid));
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (size_t end; (end = text.find(separator)) != text.npos; text.remove_prefix(end + 1))
        pieces.push_back(text.substr(0, end));
    pieces.push_back(text);
    return pieces;
}

}  // namespace zvprobe
