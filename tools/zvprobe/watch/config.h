// SPDX-License-Identifier: MIT
// The file that says which sources are watched: TOML, a section for each.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "watch/source_settings.h"

namespace zvprobe {

// -> the sources, in the order of the file
// path      of the file
// defaults  limits of sources that set none of their own
// Throws UsageError: nothing of a file is taken that has anything wrong in it. Its text names file,
// line and reason.
std::vector<SourceSettings> sources_of_file(const std::string& path,
                                            const ZvSurveyLimits& defaults);

// The same for the text of a file, which `name` stands for in messages.
std::vector<SourceSettings> sources_of_text(std::string_view text, const std::string& name,
                                            const ZvSurveyLimits& defaults);

// -> the sources of URLs, which are their names, without users and passwords, values in queries of HTTP, and
//    as as_name() has them; those of which that leaves the same are numbered
// Throws UsageError when a URL comes twice.
std::vector<SourceSettings> sources_of_urls(const std::vector<std::string>& urls,
                                            const ZvSurveyLimits& limits);

}  // namespace zvprobe
