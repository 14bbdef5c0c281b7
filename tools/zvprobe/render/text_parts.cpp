// SPDX-License-Identifier: MIT
// Implementation of text_parts.h.
#include "render/text_parts.h"

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

std::string gap_text(const Gap& gap) {
    return "at byte " + std::to_string(gap.offset) + ", " + counted(gap.bytes, "byte", "bytes") +
           " skipped";
}

}  // namespace zvprobe
