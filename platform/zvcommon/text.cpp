// SPDX-License-Identifier: MIT
// Case-insensitive containment.

#include <cstddef>

#include "zvcommon.h"

namespace {

char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

enum class Match { kYes, kNo, kTextEnded };

Match compare(const char* text, const char* word) {
    for (; *word != '\0'; ++text, ++word) {
        if (*text == '\0') return Match::kTextEnded;
        if (to_lower(*text) != to_lower(*word)) return Match::kNo;
    }
    return Match::kYes;
}

}  // namespace

// Words are short names ("keyframes", ".ts"), so the plain search is linear in the text.
extern "C" uint8_t zvstr_api_isCasestr(const char* text, const char* word) {
    if (text == nullptr || word == nullptr) return 0;
    for (;; ++text) {
        const Match match = compare(text, word);
        if (match != Match::kNo) return match == Match::kYes ? 1 : 0;
    }
}
