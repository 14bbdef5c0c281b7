// SPDX-License-Identifier: MIT
// A splice command as an event, and back for its text.
#pragma once

#include <string>

#include "survey/codecs/scte35.h"
#include "survey/records/events.h"

namespace zv::survey {

Event splice_event(const SpliceCommand& command, uint16_t pid, uint64_t offset);
std::string splice_text(const Event& event);

}  // namespace zv::survey
