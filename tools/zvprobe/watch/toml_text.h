// SPDX-License-Identifier: MIT
// Values of TOML as a line has them: the reader of CLI11 cuts a text at a "#" in it, keeps its escapes
// and forgets its quotation marks, so that they are looked at before it reads the line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zvprobe {

// value  what stands after the "=", without blanks around it; a comment may follow
// -> the text that is in quotation marks; nothing when the value is bare
// Throws UsageError when there is no such text, or one that is not taken.
std::optional<std::string> quoted_text(std::string_view value);

// -> true when a bare value is a number, true or false, an array or a table
bool is_other_than_text(std::string_view value);

}  // namespace zvprobe
