// SPDX-License-Identifier: MIT
// The list of what was extracted: files with bytes and units, and what was left out and why.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "render/text_report.h"
#include "ts/extract/es_extract.h"

namespace zvprobe {

// -> the path of the file of that name
using PathOf = std::function<std::string(const std::string& name)>;

void print_extracted(std::ostream& out, const std::vector<Extracted>& results,
                     const PathOf& path_of, const TextOptions& options);

}  // namespace zvprobe
