// SPDX-License-Identifier: MIT
// The HTML report's page without its data, as the build has put it together from the page, its styles
// and its scripts; what the page allows itself; and the script of a watch's overview, which is built in
// likewise.
#pragma once

#include <string_view>

namespace zvprobe {

extern const std::string_view kPageBeforeData;
extern const std::string_view kPageAfterData;

// The Content-Security-Policy that is in the page.
extern const std::string_view kPagePolicy;

extern const std::string_view kOverviewScript;
extern const std::string_view kOverviewScriptHash;  // base64 of its SHA-256

}  // namespace zvprobe
