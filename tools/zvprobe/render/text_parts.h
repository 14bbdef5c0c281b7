// SPDX-License-Identifier: MIT
// What the text reports of all formats are made of.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/capped_list.h"
#include "base/printable.h"
#include "base/texts.h"
#include "render/terminal.h"

namespace zvprobe {

// Begins a line of a report with its label; -> out
std::ostream& begin_line(std::ostream& out, const Style& style, std::string_view label);

std::string marked(const Style& style, bool good, std::string_view text);

// -> the printable text followed by spaces up to that many columns
std::string padded(std::string_view text, size_t width);

// Lines of columns, each as wide as its longest text; the last one may hold anything.
class Columns {
  public:
    void add(std::vector<std::string> line) { lines_.push_back(std::move(line)); }

    // Prints them; the first line is a heading, with its label in front.
    void print(std::ostream& out, const Style& style, std::string_view label) const;

  private:
    std::vector<std::vector<std::string>> lines_;
};

// -> "at byte 7, 2 bytes skipped"
std::string gap_text(const Gap& gap);

// Prints the first of a list, a line each, and how many more there are.
template <typename Item, typename ToText>
void print_first(std::ostream& out, const Style& style, const CappedList<Item>& list,
                 ToText to_text) {
    constexpr size_t kPrinted = 10;
    const size_t printed = std::min(list.kept().size(), kPrinted);
    for (const Item& item : std::span(list.kept()).first(printed))
        begin_line(out, style, "") << to_text(item) << '\n';
    if (list.count() > printed)
        begin_line(out, style, "") << "and " << list.count() - printed << " more\n";
}

}  // namespace zvprobe
