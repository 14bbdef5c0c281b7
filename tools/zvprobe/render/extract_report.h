// SPDX-License-Identifier: MIT
// The list of what was extracted: files with bytes and units, and what was left out and why.
#pragma once

#include <ostream>
#include <vector>

#include "io/out_file_set.h"
#include "render/text_report.h"
#include "ts/es_extract.h"

namespace zvprobe {

void print_extracted(std::ostream& out, const std::vector<Extracted>& results,
                     const OutFileSet& files, const TextOptions& options);

}  // namespace zvprobe
