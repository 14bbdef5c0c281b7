// SPDX-License-Identifier: MIT
// The limits of indicators as a user gives them: on the command line, and in a file.
#pragma once

#include <string>
#include <vector>

#include "zvsurvey.h"

namespace zvprobe {

// -> the limits that are given, 0 for the others
// file      "name = value" lines, with comments after #; empty for none
// settings  "name=value", which have the last word
// Throws UsageError.
ZvSurveyLimits limits_from(const std::string& file, const std::vector<std::string>& settings);

}  // namespace zvprobe
