// SPDX-License-Identifier: MIT
// Removal of bytes at the front of a buffer.

#include <cstddef>
#include <cstring>

#include "zvcommon.h"

extern "C" int zvt_innerapi_bufOffset(uint8_t* buf, int count, int span) {
    if (span <= 0) return 0;
    if (buf == nullptr || count <= 0) return span;
    if (count >= span) return 0;
    const int left = span - count;
    std::memmove(buf, buf + count, static_cast<size_t>(left));
    return left;
}
