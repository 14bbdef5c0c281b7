// SPDX-License-Identifier: MIT
// What a user says of a source that is to be watched.
#pragma once

#include <map>
#include <string>

#include "ts/indicator_limits.h"
#include "zvsurvey.h"

namespace zvprobe {

struct SourceSettings {
    std::string name;  // unique in a watch, and safe to print
    std::string url;
    std::map<std::string, std::string> labels = {};
    ZvSurveyLimits limits = {};

    bool operator==(const SourceSettings& other) const {
        return name == other.name && url == other.url && labels == other.labels &&
               same_limits(limits, other.limits);
    }
};

}  // namespace zvprobe
