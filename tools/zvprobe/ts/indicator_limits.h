// SPDX-License-Identifier: MIT
// The limits of the indicators of ETSI TR 101 290 by name, with the range of each.
#pragma once

#include <string_view>

#include "zvsurvey.h"

namespace zvprobe {

// Sets one of them. Throws UsageError, which names the limits that there are.
void set_limit(ZvSurveyLimits& limits, std::string_view name, std::string_view value);

// -> whether all of them are the same
bool same_limits(const ZvSurveyLimits& a, const ZvSurveyLimits& b);

}  // namespace zvprobe
