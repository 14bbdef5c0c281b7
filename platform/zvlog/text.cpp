// SPDX-License-Identifier: MIT
// Text helpers of the log library: counting a word in a list, and numbers as text.

#include <charconv>
#include <cstring>

#include "zvlog.h"

namespace {

constexpr size_t kNumberSize = 32;

char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool starts_with(const char* text, const char* word, size_t word_length) {
    for (size_t i = 0; i < word_length; ++i) {
        if (to_lower(text[i]) != to_lower(word[i])) return false;
    }
    return true;
}

}  // namespace

extern "C" {

int zvlog_api_strCasestrNum(const char* list, const char* word, int /*a*/, int /*b*/) {
    if (list == nullptr || word == nullptr || *word == '\0') return 0;
    const size_t word_length = std::strlen(word);
    size_t left = std::strlen(list);
    int count = 0;
    while (left >= word_length) {
        const bool found = starts_with(list, word, word_length);
        const size_t step = found ? word_length : 1;
        count += found ? 1 : 0;
        list += step;
        left -= step;
    }
    return count;
}

char* zvlog_innerapi_num2str(char* buf, int64_t value) {
    if (buf == nullptr) return nullptr;
    *std::to_chars(buf, buf + kNumberSize - 1, value).ptr = '\0';
    return buf;
}

}  // extern "C"
