// SPDX-License-Identifier: MIT
// Secrets in URLs: a source may need a password or a token, and no report, log line or page may tell it.
#pragma once

#include <string>
#include <string_view>

namespace zvprobe {

// -> the text with "***" in place of user name and password of each URL that has them: one without a
//    password may be a token
std::string without_passwords(std::string_view text);

// -> the URL with "***" in place of the values in its query
std::string without_query_values(std::string_view url);

}  // namespace zvprobe
