// SPDX-License-Identifier: MIT
// Implementation of indicator_choice.h.
#include "ts/indicator_choice.h"

#include <algorithm>
#include <memory>
#include <new>

#include "base/numbers.h"
#include "base/printable.h"
#include "zvsurvey.h"

namespace zvprobe {
namespace {

// A survey knows its indicators before anything came.
std::vector<std::string> known_ids() {
    const std::unique_ptr<ZvSurvey, void (*)(ZvSurvey*)> survey(zvsurvey_new(nullptr),
                                                                zvsurvey_free);
    if (!survey) throw std::bad_alloc();
    std::vector<std::string> ids;
    ZvSurveyIndicator indicator = {};
    while (zvsurvey_indicator(survey.get(), ids.size(), &indicator, sizeof indicator) == 1)
        ids.emplace_back(indicator.id);
    return ids;
}

// Ids begin with their priority.
bool stands_for(std::string_view chosen, std::string_view id) {
    return id.starts_with(chosen) && (id.size() == chosen.size() || id[chosen.size()] == '.');
}

}  // namespace

IndicatorChoice::IndicatorChoice(const std::string& list) {
    const std::vector<std::string> ids = known_ids();
    for (const std::string_view part : split(list, ',')) {
        const auto fits = [part](const std::string& id) { return stands_for(part, id); };
        if (std::ranges::none_of(ids, fits))
            throw UsageError("indicators: " + in_quotes(part) +
                             " is neither a priority (1, 2, 3) nor an id such as 1.4 or 2.3.a");
        chosen_.emplace_back(part);
    }
}

bool IndicatorChoice::has(std::string_view id) const {
    return std::ranges::any_of(chosen_, [id](const std::string& c) { return stands_for(c, id); });
}

}  // namespace zvprobe
