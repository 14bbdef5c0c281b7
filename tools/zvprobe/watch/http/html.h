// SPDX-License-Identifier: MIT
// The overview of a watch for people: small HTML that shows anew what the watch knows, by a script,
// or without scripts by being loaded again.
#pragma once

#include <string>
#include <string_view>

namespace zvprobe {

// -> the text with what HTML gives a meaning to in place of itself
std::string html_text(std::string_view text);

// -> the text as a part of a path (RFC 3986)
std::string path_part(std::string_view text);

// -> a whole page that is renewed every few seconds; title: plain text, body: HTML elements, of
//    which those that hold others have neither text nor attributes of their own that change
std::string html_page(std::string_view title, std::string_view body);

// -> the Content-Security-Policy of such a page
std::string html_page_policy();

}  // namespace zvprobe
