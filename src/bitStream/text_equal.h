// SPDX-License-Identifier: MIT
// How names of resolvers and formats are compared.
#pragma once

#include <cstring>

namespace zv {

// Each string is a prefix of the other: plain, case-sensitive equality.
inline bool text_equal(const char* a, const char* b) {
    return strncmp(a, b, strlen(b)) == 0 && strncmp(b, a, strlen(a)) == 0;
}

}  // namespace zv
