// SPDX-License-Identifier: MIT
// The member "history" of a survey's JSON.
#pragma once

#include "survey/json_object.h"
#include "survey/survey.h"

namespace zv::survey {

// A history is kept.
void write_history(const Survey& survey, ObjectWriter& out);

}  // namespace zv::survey
