// SPDX-License-Identifier: MIT
// Implementation of text_table.h.
#include "render/text_table.h"

#include <algorithm>
#include <utility>

#include "render/text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kBetween = 2;
constexpr std::string_view kCutMark = "...";

bool continues_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::string cut_to(std::string_view text, size_t width) {
    if (display_width(text) <= width) return std::string(text);
    const size_t room = width - std::min(width, kCutMark.size());
    size_t taken = 0;
    for (size_t end = 0; end < text.size();) {
        ++end;
        while (end < text.size() && continues_character(text[end]))
            ++end;
        if (display_width(text.substr(0, end)) > room) break;
        taken = end;
    }
    return std::string(text.substr(0, taken)).append(kCutMark.substr(0, width - room));
}

std::string wrapped(const std::vector<std::string>& parts, size_t begun, size_t indent) {
    std::string text;
    size_t column = begun;
    for (const std::string& whole : parts) {
        const std::string part = cut_to(whole, kReportWidth - indent - 1);
        const size_t width = display_width(part);
        const bool begins = &whole == &parts.front();
        if (!begins && column + kBetween + width + 1 > kReportWidth) {
            text += ",\n" + std::string(indent, ' ');
            column = indent;
        } else if (!begins) {
            text += ", ";
            column += kBetween;
        }
        text += part;
        column += width;
    }
    return text;
}

std::vector<TextTable::Shown> TextTable::shown_columns() const {
    std::vector<Shown> shown;
    for (size_t i = 0; i < columns_.size(); ++i) {
        size_t widest = 0;
        for (const Line& line : lines_)
            if (!line.cells.empty()) widest = std::max(widest, display_width(line.cells[i].text));
        if (widest > 0) shown.push_back({i, std::max(widest, columns_[i].heading.size())});
    }
    return shown;
}

// The last cell takes what room is left.
std::string TextTable::laid_out(const std::vector<Cell>& cells, const std::vector<Shown>& shown,
                                const Style& style) const {
    std::string line(indent_, ' ');
    size_t column = indent_;
    size_t spaces = 0;  // owed before the next text, so that no line ends in them
    for (const auto& [index, width] : shown) {
        const Cell& cell = cells[index];
        const std::string text = cut_to(cell.text, kReportWidth - std::min(column, kReportWidth));
        const size_t missing = width - std::min(width, display_width(text));
        const size_t before = columns_[index].right ? missing : 0;
        if (!text.empty()) {
            line.append(spaces + before, ' ').append(cell.bad ? style.bad(text) : text);
            spaces = 0;
        }
        spaces += text.empty() ? width + kBetween : missing - before + kBetween;
        column += width + kBetween;
    }
    return line;
}

std::string TextTable::heading(const std::vector<Shown>& shown) const {
    std::vector<Cell> cells(columns_.size());
    for (const Shown& column : shown)
        cells[column.index].text = columns_[column.index].heading;
    return laid_out(cells, shown, Style(false));
}

void TextTable::print(std::ostream& out, const Style& style) const {
    const std::vector<Shown> shown = shown_columns();
    bool headed = false;
    for (const Line& line : lines_) {
        if (line.cells.empty()) {
            out << line.text << '\n';
            continue;
        }
        if (!std::exchange(headed, true)) out << style.label(heading(shown)) << '\n';
        out << laid_out(line.cells, shown, style) << '\n';
    }
}

}  // namespace zvprobe
