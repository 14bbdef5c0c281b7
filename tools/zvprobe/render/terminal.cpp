// SPDX-License-Identifier: MIT
// Implementation of terminal.h.
#include "render/terminal.h"

#include <unistd.h>

#include <cstdlib>

namespace zvprobe {

bool is_terminal(int fd) {
    const char* const type = std::getenv("TERM");
    return isatty(fd) && type != nullptr && std::string_view(type) != "dumb";
}

bool wants_colour(int fd) {
    const char* const no_colour = std::getenv("NO_COLOR");
    return is_terminal(fd) && (no_colour == nullptr || *no_colour == '\0');
}

std::string Style::dress(std::string_view code, std::string_view text) const {
    if (!coloured_) return std::string(text);
    std::string out = "\033[";
    out.append(code).append("m").append(text).append("\033[0m");
    return out;
}

}  // namespace zvprobe
