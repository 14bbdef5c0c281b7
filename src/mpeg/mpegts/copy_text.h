// SPDX-License-Identifier: MIT
// The bounded copy of a host's text into a fixed field.
#pragma once

#include <cstring>

#include "bitStream/log.h"

namespace zv {

// Clears `to`, then copies `from`, of which at most from_size bytes exist. A text that does not fit
// with its terminator is cut, left unterminated and reported.
template <size_t Size>
void copy_text_or_report(char (&to)[Size], const char* from, size_t from_size) {
    memset(to, 0, Size);
    const size_t needed = strnlen(from, from_size) + 1;
    if (needed <= Size) {
        memcpy(to, from, needed - 1);
        return;
    }
    LOG(kLogWarning, "MPEGTS", "There is a bug that buf1 (%lu < %lu)(%.*s),please fix!!",
        static_cast<unsigned long>(Size), static_cast<unsigned long>(needed),
        static_cast<int>(needed - 1), from);
    memcpy(to, from, Size);
}

}  // namespace zv
