// SPDX-License-Identifier: MIT
// The HTML report: one page that holds everything it needs, and asks for nothing.
#pragma once

#include <span>
#include <string>

#include "render/source_report.h"

namespace zvprobe {

// -> the page, of less than kMostOfPage bytes whatever the sources are: of long lists it has a part
//    and says how many entries it lacks
std::string page_of(std::span<const SourceReport> reports);

inline constexpr size_t kMostOfPage = 1'000'000;

}  // namespace zvprobe
