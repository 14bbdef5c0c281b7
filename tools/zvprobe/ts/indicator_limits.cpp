// SPDX-License-Identifier: MIT
// Implementation of indicator_limits.h.
#include "ts/indicator_limits.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/numbers.h"
#include "base/printable.h"
#include "base/texts.h"

namespace zvprobe {
namespace {

constexpr double kDay_s = 86400;

struct Range {
    double least;
    double most;
};
constexpr Range kSeconds = {0.001, kDay_s};
constexpr Range kSecondsOfPid = {1, kDay_s};
constexpr Range kNanoseconds = {1, 1e9};

struct NamedLimit {
    std::string_view name;
    double ZvSurveyLimits::*member;
    Range range = kSeconds;
};
constexpr std::array kLimits = {
    NamedLimit{"pat", &ZvSurveyLimits::pat_s},
    NamedLimit{"pmt", &ZvSurveyLimits::pmt_s},
    NamedLimit{"pid", &ZvSurveyLimits::pid_s, kSecondsOfPid},
    NamedLimit{"pcr-repetition", &ZvSurveyLimits::pcr_repetition_s},
    NamedLimit{"pcr-discontinuity", &ZvSurveyLimits::pcr_discontinuity_s},
    NamedLimit{"pcr-accuracy-ns", &ZvSurveyLimits::pcr_accuracy_ns, kNanoseconds},
    NamedLimit{"pts", &ZvSurveyLimits::pts_s},
    NamedLimit{"cat", &ZvSurveyLimits::cat_s},
    NamedLimit{"nit-actual", &ZvSurveyLimits::nit_actual_s},
    NamedLimit{"nit-other", &ZvSurveyLimits::nit_other_s},
    NamedLimit{"bat", &ZvSurveyLimits::bat_s},
    NamedLimit{"tot", &ZvSurveyLimits::tot_s},
    NamedLimit{"unreferenced", &ZvSurveyLimits::unreferenced_s},
    NamedLimit{"sdt-actual", &ZvSurveyLimits::sdt_actual_s},
    NamedLimit{"sdt-other", &ZvSurveyLimits::sdt_other_s},
    NamedLimit{"eit-actual", &ZvSurveyLimits::eit_actual_s},
    NamedLimit{"eit-other", &ZvSurveyLimits::eit_other_s},
    NamedLimit{"eit-pf", &ZvSurveyLimits::eit_pf_s},
    NamedLimit{"tdt", &ZvSurveyLimits::tdt_s},
    NamedLimit{"section-distance", &ZvSurveyLimits::section_distance_s},
};
static_assert(sizeof(ZvSurveyLimits) == kLimits.size() * sizeof(double));

std::string known_names() {
    std::string text;
    for (const NamedLimit& limit : kLimits)
        text.append(text.empty() ? "" : ", ").append(limit.name);
    return text;
}

// "nan" is a number to from_chars, and in no range.
double value_from(const NamedLimit& limit, std::string_view text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    const auto& [least, most] = limit.range;
    if (result.ec == std::errc() && result.ptr == end && value >= least && value <= most)
        return value;
    throw UsageError("limit " + std::string(limit.name) + ": " + in_quotes(text) +
                     " is no number from " + number_text(least) + " to " + number_text(most));
}

}  // namespace

void set_limit(ZvSurveyLimits& limits, std::string_view name, std::string_view value) {
    const auto* const limit = std::ranges::find(kLimits, name, &NamedLimit::name);
    if (limit == kLimits.end())
        throw UsageError("no limit " + in_quotes(name) + "; there are " + known_names());
    limits.*(limit->member) = value_from(*limit, value);
}

bool same_limits(const ZvSurveyLimits& a, const ZvSurveyLimits& b) {
    return std::ranges::all_of(
        kLimits, [&](const NamedLimit& limit) { return a.*(limit.member) == b.*(limit.member); });
}

}  // namespace zvprobe
