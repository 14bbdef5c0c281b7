// SPDX-License-Identifier: MIT
// Implementation of limits_file.h.
#include "commands/parts/limits_file.h"

#include <CLI/CLI.hpp>

#include <sstream>

#include "base/numbers.h"
#include "base/printable.h"
#include "io/small_file.h"
#include "ts/indicator_limits.h"

namespace zvprobe {
namespace {

constexpr size_t kLargestFile = size_t{64} << 10;

void read_file(ZvSurveyLimits& limits, const std::string& path) {
    try {
        std::istringstream in(text_of_file(path, kLargestFile));
        for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(in)) {
            if (item.inputs.size() != 1)
                throw UsageError("limit " + in_quotes(item.fullname()) + " is not one number");
            set_limit(limits, item.fullname(), item.inputs.front());
        }
    } catch (const UsageError& error) {
        throw UsageError(printable(path) + ": " + error.what());
    } catch (const CLI::Error& error) {
        throw UsageError(printable(path) + ": " + printable(error.what()));
    }
}

}  // namespace

ZvSurveyLimits limits_from(const std::string& file, const std::vector<std::string>& settings) {
    ZvSurveyLimits limits = {};
    if (!file.empty()) read_file(limits, file);
    for (const std::string& setting : settings) {
        const std::vector<std::string_view> sides = split(setting, '=');
        if (sides.size() != 2)
            throw UsageError("limit " + in_quotes(setting) + " is no NAME=VALUE");
        set_limit(limits, sides[0], sides[1]);
    }
    return limits;
}

}  // namespace zvprobe
