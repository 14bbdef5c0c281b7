// SPDX-License-Identifier: MIT
// 64-bit numbers in messages and reports, rendered by the log library.
#pragma once

#include <cstdint>

#include "zvlog.h"

namespace zv {

struct NumberText {
    explicit NumberText(int64_t value) { zvlog_innerapi_num2str(text, value); }
    explicit NumberText(uint64_t value) : NumberText(static_cast<int64_t>(value)) {}
    char text[32];
};

}  // namespace zv
