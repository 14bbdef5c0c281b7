// SPDX-License-Identifier: MIT
// The report lines of the library, such as "[PAT]period,numErr,numLost:12,0,0": on a terminal laid
// out like the tool's own, elsewhere as they are.
#pragma once

#include <ostream>
#include <string_view>

#include "render/text_report.h"

namespace zvprobe {

void print_library_line(std::ostream& out, std::string_view line, const TextOptions& options);

}  // namespace zvprobe
