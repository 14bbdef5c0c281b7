// SPDX-License-Identifier: MIT
// Implementation of printable.h.
#include "base/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <span>

#include "base/passwords.h"

namespace zvprobe {
namespace {

struct CodePoint {
    uint32_t value;
    size_t length;  // in bytes; 0 when the text does not begin with well-formed UTF-8
};

CodePoint first_code_point(std::string_view text) {
    const auto byte = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    const size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || text.size() < length) return {0, 0};
    uint32_t value = lead & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {0, 0};
        value = value << 6 | (byte(i) & 0x3F);
    }
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < kSmallest[length] || value > 0x10FFFF || surrogate) return {0, 0};
    return {value, length};
}

bool may_be_printed(const CodePoint& point) {
    const uint32_t c = point.value;
    if (point.length == 0) return false;
    const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
    const bool bidirectional =
        c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return !control && !bidirectional;
}

struct Range {
    uint32_t first;
    uint32_t last;
};

constexpr Range kWide[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},
                           {0xF900, 0xFAFF}, {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                           {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};
constexpr Range kCombining[] = {
    {0x0300, 0x036F}, {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}};

bool lies_in(uint32_t c, std::span<const Range> ranges) {
    return std::ranges::any_of(ranges, [c](const Range& r) { return r.first <= c && c <= r.last; });
}

void append_escaped(std::string& out, std::string_view bytes) {
    for (const char c : bytes) {
        char text[5];
        std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(c)));
        out += text;
    }
}

}  // namespace

size_t display_width(std::string_view text) {
    size_t width = 0;
    while (!text.empty()) {
        const CodePoint point = first_code_point(text);
        if (lies_in(point.value, kWide)) ++width;
        if (!lies_in(point.value, kCombining)) ++width;
        text.remove_prefix(point.length == 0 ? 1 : point.length);
    }
    return width;
}

std::string printable(std::string_view any_text) {
    const std::string hidden = without_passwords(any_text);
    std::string_view text = hidden;
    std::string out;
    while (!text.empty()) {
        const CodePoint point = first_code_point(text);
        const std::string_view bytes = text.substr(0, point.length == 0 ? 1 : point.length);
        if (!may_be_printed(point))
            append_escaped(out, bytes);
        else
            out.append(bytes == "\\" ? "\\\\" : bytes);
        text.remove_prefix(bytes.size());
    }
    return out;
}

std::string as_name(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const CodePoint point = first_code_point(text);
        const std::string_view bytes = text.substr(0, point.length == 0 ? 1 : point.length);
        if (point.length == 0)
            out += "\uFFFD";
        else if (!may_be_printed(point))
            append_escaped(out, bytes);
        else
            out += bytes;
        text.remove_prefix(bytes.size());
    }
    return out;
}

std::string in_quotes(std::string_view text) {
    return '"' + printable(text) + '"';
}

}  // namespace zvprobe
