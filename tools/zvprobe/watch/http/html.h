// SPDX-License-Identifier: MIT
// The pages of a watch for people: small HTML without scripts, which a browser asks for again.
#pragma once

#include <string>
#include <string_view>

namespace zvprobe {

// -> the text with what HTML gives a meaning to in place of itself
std::string html_text(std::string_view text);

// -> the text as a part of a path (RFC 3986)
std::string path_part(std::string_view text);

// -> a whole page that is renewed every few seconds; title: plain text, body: HTML
std::string html_page(std::string_view title, std::string_view body);

}  // namespace zvprobe
