// SPDX-License-Identifier: MIT
// Implementation of text_parts.h.
#include "text_parts.h"

#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zvprobe {
namespace {

constexpr size_t kLabelWidth = 13;

}  // namespace

std::ostream& begin_line(std::ostream& out, const Style& style, std::string_view label) {
    return out << "  " << style.label(padded(label, kLabelWidth));
}

std::string marked(const Style& style, bool good, std::string_view text) {
    return good ? style.good(text) : style.bad(text);
}

std::string padded(std::string_view text, size_t width) {
    std::string out(text);
    const size_t taken = display_width(text);
    if (taken < width) out.append(width - taken, ' ');
    return out;
}

void Columns::print(std::ostream& out, const Style& style, std::string_view label) const {
    constexpr size_t kBetween = 2;
    std::vector<size_t> widths(lines_.front().size() - 1);
    for (const auto& line : lines_)
        for (size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], display_width(line[i]) + kBetween);
    for (const auto& line : lines_) {
        const bool is_heading = &line == &lines_.front();
        std::string text;
        for (size_t i = 0; i < widths.size(); ++i)
            text += padded(line[i], widths[i]);
        text += line.back();
        begin_line(out, style, is_heading ? label : "")
            << (is_heading ? style.label(text) : text) << '\n';
    }
}

std::string counted(uint64_t count, std::string_view one, std::string_view many) {
    return std::to_string(count).append(" ").append(count == 1 ? one : many);
}

std::string gap_text(const Gap& gap) {
    return "at byte " + std::to_string(gap.offset) + ", " + counted(gap.bytes, "byte", "bytes") +
           " skipped";
}

std::string in_quotes(std::string_view text) {
    return '"' + printable(text) + '"';
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
