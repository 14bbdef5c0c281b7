// SPDX-License-Identifier: MIT
// The HTML report: one page that holds everything it needs, and asks for nothing, but for itself again where
// a watch serves it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/json.h"
#include "render/source_report.h"

namespace zvprobe {

// -> the page, of less than kMostOfPage bytes whatever the sources are: of long lists it has a part
//    and says how many entries it lacks
// live     where the page is served while the source goes on, an object: "renew_s", after so many
//          seconds the page asks for itself again; "all" and "json", paths that it leads to
std::string page_of(std::span<const SourceReport> reports, const Json& live = nullptr);

// -> the Content-Security-Policy of a live page, for who sends it as a header, too
std::string live_page_policy();

inline constexpr size_t kMostOfPage = 1'000'000;

}  // namespace zvprobe
