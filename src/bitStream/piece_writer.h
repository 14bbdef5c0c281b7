// SPDX-License-Identifier: MIT
// How the one-line descriptions of streams are put together.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace zv {

// Appends formatted pieces to a terminated text, each cut to the size of the scratch buffer.
template <size_t ScratchSize>
class PieceWriter {
  public:
    explicit PieceWriter(char* text) : end_(text + strlen(text)) {}

    [[gnu::format(printf, 2, 3)]] void add(const char* format, ...) {
        char scratch[ScratchSize];
        va_list arguments;
        va_start(arguments, format);
        vsnprintf(scratch, sizeof scratch, format, arguments);
        va_end(arguments);
        const size_t length = strlen(scratch);
        memcpy(end_, scratch, length + 1);
        end_ += length;
    }

  private:
    char* end_;
};

}  // namespace zv
