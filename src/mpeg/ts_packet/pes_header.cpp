// SPDX-License-Identifier: MIT
// The search for the first plausible PES header.
#include <cstring>

#include "mpeg/ts_packet/pes_header.h"

int32_t pes_find(const uint8_t* buf, int32_t len) {
    if (len <= 0) return -1;
    // A start code is three bytes of which the last is 1: look for that byte, then look around it.
    const uint8_t* const end = buf + len + 2;
    for (const uint8_t* one = buf + 2; one < end; ++one) {
        one = static_cast<const uint8_t*>(memchr(one, 1, static_cast<size_t>(end - one)));
        if (one == nullptr) break;
        const uint8_t* const start = one - 2;
        if (pes_validate(start) && pes_validate_header(start))
            return static_cast<int32_t>(start - buf);
    }
    return -1;
}
