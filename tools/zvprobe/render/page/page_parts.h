// SPDX-License-Identifier: MIT
// The HTML report's page without its data, as the build has put it together from the page, its styles
// and its scripts; and what the page allows itself.
#pragma once

#include <string_view>

namespace zvprobe {

extern const std::string_view kPageBeforeData;
extern const std::string_view kPageAfterData;

// The Content-Security-Policy that is in the page.
extern const std::string_view kPagePolicy;

}  // namespace zvprobe
