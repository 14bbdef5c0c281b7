// SPDX-License-Identifier: MIT
// Implementation of library_line.h.
#include "render/ts/library_line.h"

#include <algorithm>
#include <array>

#include "base/numbers.h"
#include "render/text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kValueWidth = 18;
constexpr std::array<std::string_view, 7> kErrorCounts = {
    "numErr", "numLost", "skippedBytes", "syncLosses", "lost", "late", "bad"};

// A line taken apart: "[label]names:values", "* names:values", "##label: text", or all text.
struct ReportLine {
    std::string_view label;
    std::vector<std::string_view> names;  // empty for a text
    std::vector<std::string_view> values;
    std::string_view text;
};

std::string_view cut_label(std::string_view& line) {
    std::string_view label;
    if (const size_t close = line.find(']'); line.starts_with('[') && close != line.npos) {
        label = line.substr(1, close - 1);
        line.remove_prefix(close + 1);
    } else if (line.starts_with("* ")) {
        label = "packets";
        line.remove_prefix(2);
    } else if (const size_t colon = line.find(": "); line.starts_with("##") && colon != line.npos) {
        label = line.substr(2, colon - 2);
        line.remove_prefix(colon + 2);
        return label;
    } else if (line.starts_with("format[")) {
        label = "stream info";
    } else if (line.starts_with("Find all info")) {
        label = "tables";
    }
    return label;
}

ReportLine take_apart(std::string_view line) {
    ReportLine parts;
    const bool has_values = line.starts_with('[') || line.starts_with("* ");
    parts.label = cut_label(line);
    parts.text = line;
    const size_t colon = line.rfind(':');
    if (!has_values || colon == line.npos) return parts;
    parts.names = split(line.substr(0, colon), ',');
    parts.values = split(line.substr(colon + 1), ',');
    if (parts.names.size() != parts.values.size()) parts.names.clear();
    return parts;
}

std::string value_text(std::string_view name, std::string_view value, const Style& style) {
    const std::string text = padded(std::string(name) + ' ' + std::string(value), kValueWidth);
    const bool is_error = value != "0" && std::ranges::count(kErrorCounts, name) != 0;
    return (is_error ? style.bad(text) : text) + "  ";
}

}  // namespace

void print_library_line(std::ostream& out, std::string_view line, const TextOptions& options) {
    if (!options.laid_out) {
        out << printable(line) << '\n';
        return;
    }
    if (line.starts_with("---")) {
        out << '\n';
        return;
    }
    const std::string safe = printable(line);
    const ReportLine parts = take_apart(safe);
    begin_line(out, options.style, parts.label);
    if (parts.names.empty()) out << parts.text;
    for (size_t i = 0; i < parts.names.size(); ++i)
        out << value_text(parts.names[i], parts.values[i], options.style);
    out << '\n';
}

}  // namespace zvprobe
