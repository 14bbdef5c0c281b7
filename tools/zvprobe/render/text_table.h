// SPDX-License-Identifier: MIT
// A table of a text report: columns as wide as their longest cell, left out where no line has
// anything to say, and no line wider than a report may be.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "render/terminal.h"

namespace zvprobe {

// No line of a report about a transport stream is wider.
constexpr size_t kReportWidth = 100;

// -> the printable text, cut to so many columns if it is wider
std::string cut_to(std::string_view text, size_t width);

// -> the parts with ", " between them, on as many lines as they need
// begun   columns taken where the first line begins
// indent  columns before each further line
std::string wrapped(const std::vector<std::string>& parts, size_t begun, size_t indent);

struct Cell {
    Cell(std::string what = {}, bool is_bad = false) : text(std::move(what)), bad(is_bad) {}
    Cell(const char* what, bool is_bad = false) : text(what), bad(is_bad) {}

    std::string text;  // printable
    bool bad;
};

class TextTable {
  public:
    struct Column {
        std::string heading;
        bool right = false;  // numbers
    };

    TextTable(std::vector<Column> columns, size_t indent)
        : columns_(std::move(columns)), indent_(indent) {}

    // As many cells as there are columns.
    void add(std::vector<Cell> cells) { lines_.push_back({std::move(cells), {}}); }

    bool empty() const { return lines_.empty(); }

    // A line that stands as it is between the others.
    void add_line(std::string text) { lines_.push_back({{}, std::move(text)}); }

    // The heading stands before the first line of cells.
    void print(std::ostream& out, const Style& style) const;

  private:
    struct Line {
        std::vector<Cell> cells;
        std::string text;
    };
    struct Shown {
        size_t index;  // of a column that some line has something in
        size_t width;
    };

    std::vector<Shown> shown_columns() const;
    std::string laid_out(const std::vector<Cell>& cells, const std::vector<Shown>& shown,
                         const Style& style) const;
    std::string heading(const std::vector<Shown>& shown) const;

    std::vector<Column> columns_;
    size_t indent_;
    std::vector<Line> lines_;
};

}  // namespace zvprobe
