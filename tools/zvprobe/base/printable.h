// SPDX-License-Identifier: MIT
// Texts that come from outside, made safe to print: names out of streams, and those of files.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zvprobe {

// Makes a text from a stream or a file name safe to print: control characters, bidirectional
// overrides and bytes that are no UTF-8 become "\xNN" per byte, a backslash becomes two, and the
// users and passwords of URLs "***".
std::string printable(std::string_view text);

// Makes a text a name that other programs read as UTF-8: each byte that is no UTF-8 becomes U+FFFD,
// characters that printable() escapes become "\xNN" per byte. All else stays.
std::string as_name(std::string_view text);

// -> columns that a printable text takes on a terminal, where East Asian characters take two and
//    combining ones none
size_t display_width(std::string_view printable_text);

// -> the text in quotation marks, safe to print
std::string in_quotes(std::string_view text);

}  // namespace zvprobe
