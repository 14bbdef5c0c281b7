// SPDX-License-Identifier: MIT
// Implementation of formatted_text.h.

#include "zvlog/formatted_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zvlog {

namespace {

constexpr char kCutMark[] = "...\r\n";

}  // namespace

FormattedText::FormattedText(const char* format, va_list arguments) {
    short_[0] = '\0';
    if (format == nullptr) return;
    va_list again;
    va_copy(again, arguments);
    const int wanted = std::vsnprintf(short_, sizeof short_, format, arguments);
    if (wanted < 0) {
        short_[0] = '\0';
    } else if (static_cast<size_t>(wanted) < sizeof short_) {
        length_ = static_cast<size_t>(wanted);
    } else if (auto* block = static_cast<char*>(std::malloc(static_cast<size_t>(wanted) + 1))) {
        std::vsnprintf(block, static_cast<size_t>(wanted) + 1, format, again);
        text_ = block;
        length_ = static_cast<size_t>(wanted);
    } else {
        std::memcpy(short_ + sizeof short_ - sizeof kCutMark, kCutMark, sizeof kCutMark);
        length_ = sizeof short_ - 1;
    }
    va_end(again);
}

FormattedText::~FormattedText() {
    if (text_ != short_) std::free(text_);
}

}  // namespace zvlog
