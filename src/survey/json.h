// SPDX-License-Identifier: MIT
// The survey as one JSON object; docs/JSON.md describes its members.
#pragma once

#include <functional>
#include <string_view>

#include "survey/model/description.h"
#include "survey/survey.h"

namespace zv::survey {

// Takes a piece of text; throws to stop.
using WriteText = std::function<void(std::string_view)>;

void write_json(const Survey& survey, const Description& description, const WriteText& write);

}  // namespace zv::survey
