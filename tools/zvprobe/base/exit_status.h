// SPDX-License-Identifier: MIT
// The tool's exit statuses; scripts rely on the numbers.
#pragma once

namespace zvprobe {

enum ExitStatus : int {
    kExitOk = 0,
    kExitFindings = 1,       // with --strict: the stream has errors
    kExitUsage = 2,          // wrong command line
    kExitCannotOpen = 3,     // a source cannot be opened or read, or the output not written
    kExitUnknownFormat = 4,  // a source is of no known format
};

}  // namespace zvprobe
