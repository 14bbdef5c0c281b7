// SPDX-License-Identifier: MIT
// Passwords in URLs: a source may need one, and no report, log line or page may tell it.
#pragma once

#include <string>
#include <string_view>

namespace zvprobe {

// -> the text with "***" in place of the password of each URL that has one
std::string without_passwords(std::string_view text);

}  // namespace zvprobe
