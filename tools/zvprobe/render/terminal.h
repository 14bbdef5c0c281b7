// SPDX-License-Identifier: MIT
// What may go to a terminal, and how it may look there.
#pragma once

#include <string>
#include <string_view>

namespace zvprobe {

// -> true when the descriptor is a terminal that understands escape sequences
bool is_terminal(int fd);

// -> true when output there should be coloured: a terminal, and no NO_COLOR in the environment
bool wants_colour(int fd);

// Dresses texts in colours, or leaves them as they are.
class Style {
  public:
    explicit Style(bool coloured) : coloured_(coloured) {}

    std::string heading(std::string_view text) const { return dress("1", text); }
    std::string label(std::string_view text) const { return dress("36", text); }
    std::string good(std::string_view text) const { return dress("32", text); }
    std::string bad(std::string_view text) const { return dress("1;31", text); }

  private:
    std::string dress(std::string_view code, std::string_view text) const;

    bool coloured_;
};

}  // namespace zvprobe
