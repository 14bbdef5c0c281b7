// SPDX-License-Identifier: MIT
// One line of a full-screen view: pieces of text, each with its looks, that never take more cells
// than the line has. What the locale's characters cannot show becomes '?'.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zvprobe {

// How a piece of text is meant. No meaning is in the colour alone.
enum class Look { kPlain, kBar, kHeading, kLabel, kGood, kBad, kPast };

struct Piece {
    std::wstring text;
    Look look;
};

// -> the printable UTF-8 text as the locale shows it
std::wstring wide(std::string_view printable_text);

// -> cells that the text takes on a terminal
size_t cells_of(std::wstring_view text);

// -> as much of the text as fits so many cells; a last character tells that it was cut
std::wstring cut(std::wstring_view text, size_t cells);

class Line {
  public:
    explicit Line(size_t cells) : left_(cells) {}

    // Adds text, which is cut where the line ends. It is printable UTF-8.
    Line& add(std::string_view text, Look look = Look::kPlain) { return add(wide(text), look); }
    Line& add(std::wstring_view text, Look look = Look::kPlain);

    // Adds text in a column of so many cells, and a space.
    Line& left(std::string_view text, size_t cells, Look look = Look::kPlain);
    Line& right(std::string_view text, size_t cells, Look look = Look::kPlain);

    // Adds text at the end of the line, or nothing when there is no room.
    Line& at_end(std::string_view text, Look look = Look::kPlain);

    // Adds a bar of so many cells, filled as far as the share says (0 to 1), and a space.
    Line& bar(double share, size_t cells);

    // -> cells that are free
    size_t room() const { return left_; }

    const std::vector<Piece>& pieces() const { return pieces_; }

  private:
    std::vector<Piece> pieces_;
    size_t left_;
};

}  // namespace zvprobe
