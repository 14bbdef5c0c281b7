// SPDX-License-Identifier: MIT
// The first line of a request, rewritten where the HTTP library would not take it although HTTP has an
// answer to it (RFC 9110, RFC 9112).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace zvprobe {

// The HTTP library refuses longer lines with status 414.
inline constexpr size_t kMostOfRequestLine = 8192;

struct RequestLine {
    std::string text;                      // what the library is to read for it
    std::optional<std::string> host = {};  // that the target names, with its port
    bool too_long = false;                 // its rest must not be read
};

// line  with its end, as far as it came: at most a byte more than kMostOfRequestLine
RequestLine rewritten(std::string line);

}  // namespace zvprobe
