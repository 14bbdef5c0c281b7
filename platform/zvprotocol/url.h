// SPDX-License-Identifier: MIT
// Owns the syntax of URLs: which part of a text is what (RFC 3986, with plain paths besides).
// Copies nothing; url_store.cpp puts the parts into records.
#pragma once

#include <cstdint>
#include <string_view>

namespace zvptc {

constexpr int kMaxPort = 65535;

struct UrlParts {
    std::string_view scheme;  // as written, "file" for a plain path
    std::string_view userinfo;
    std::string_view host;
    std::string_view path;
    std::string_view query;
    int32_t port = 0;
    int32_t index = -1;
    bool percent_encoded = false;  // the path is to be decoded before it is used
};

// Finds the scheme and its protocol index, sets `rest` to what follows the ":".
// -> false: a plain path (scheme "file", rest the whole text)
bool split_scheme(std::string_view url, UrlParts& parts, std::string_view& rest) noexcept;

// -> 0 or -EINVAL; scheme and index are set in either case.
int split_url(std::string_view url, UrlParts& parts) noexcept;

// Whole text as a number within [minimum, maximum]: no sign, no trailing characters.
bool parse_number(std::string_view text, int minimum, int maximum, int& value) noexcept;

// Protocol index of a scheme in any case, -1 when unknown (registry.cpp).
int32_t scheme_index(std::string_view scheme) noexcept;

}  // namespace zvptc
