// SPDX-License-Identifier: MIT
// What the stream tools return.
#pragma once

namespace zv {

enum ToolResult : int {
    kToolDone = 0,
    kToolMissingArgument = -1,
    kToolCannotOpen = -2,
    kToolCannotRead = -3,
    kToolCannotWrite = -4,
};

}  // namespace zv
