// SPDX-License-Identifier: MIT
// Implementation of toml_text.h.
#include "watch/toml_text.h"

#include <cstdlib>

#include "base/numbers.h"
#include "base/printable.h"

namespace zvprobe {
namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == text.npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// Of the escapes those that a URL or a label has a use for.
char escaped(std::string_view text, size_t at) {
    const char c = at < text.size() ? text[at] : '\0';
    if (c != '"' && c != '\\')
        throw UsageError("no escape but \\\" and \\\\ is taken in a text: " + in_quotes(text));
    return c;
}

}  // namespace

std::optional<std::string> quoted_text(std::string_view value) {
    if (value.empty() || (value[0] != '"' && value[0] != '\'')) return std::nullopt;
    const char mark = value[0];
    if (value.starts_with(std::string(3, mark)))
        throw UsageError("a text of several lines is not taken: " + in_quotes(value));
    std::string text;
    for (size_t at = 1; at < value.size(); ++at) {
        if (value[at] == mark) {
            const std::string_view rest = trimmed(value.substr(at + 1));
            if (rest.empty() || rest[0] == '#') return text;
            throw UsageError("more than one value: " + in_quotes(value));
        }
        const bool escapes = mark == '"' && value[at] == '\\';
        text += escapes ? escaped(value, ++at) : value[at];
    }
    throw UsageError("a text without its end: " + in_quotes(value));
}

bool is_other_than_text(std::string_view value) {
    const std::string bare(trimmed(value.substr(0, value.find('#'))));
    if (bare.starts_with('[') || bare.starts_with('{') || bare == "true" || bare == "false")
        return true;
    if (bare.empty() || std::string_view("0123456789+-").find(bare[0]) == std::string_view::npos)
        return false;
    char* end = nullptr;
    std::strtod(bare.c_str(), &end);
    return *end == '\0' && end != bare.c_str();
}

}  // namespace zvprobe
