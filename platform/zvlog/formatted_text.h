// SPDX-License-Identifier: MIT
// A printf result of any length: short texts live on the stack, long ones in a block of their own.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace zvlog {

class FormattedText {
  public:
    // A null or faulty format gives the empty text. When memory is short, a long text is cut and
    // ends with "...".
    FormattedText(const char* format, va_list arguments);
    ~FormattedText();
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;

    const char* text() const { return text_; }
    size_t length() const { return length_; }

  private:
    static constexpr size_t kOnStack = 1024;

    char short_[kOnStack];
    char* text_ = short_;
    size_t length_ = 0;
};

}  // namespace zvlog
