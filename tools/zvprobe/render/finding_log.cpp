// SPDX-License-Identifier: MIT
// Implementation of finding_log.h.
#include "render/finding_log.h"
#include "render/progress.h"

#include <cmath>

#include "base/texts.h"
#include "render/terminal.h"
#include "render/text_parts.h"

namespace zvprobe {

std::string text_of(const ZvSurveyEvent& event) {
    std::string text = "byte " + std::to_string(event.offset);
    if (!std::isnan(event.time_s)) text += ", " + time_text(event.time_s);
    if (event.pid != ZV_SURVEY_NONE) text += ", PID " + pid_text(static_cast<uint16_t>(event.pid));
    text += std::string(": ") + event.kind;
    if (event.indicator != nullptr) text += std::string(" (") + event.indicator + ")";
    return text + ": " + printable(event.message);
}

Gravity gravity_of(const ZvSurveyEvent& event) {
    return event.indicator != nullptr ? Gravity::kWarning : Gravity::kInfo;
}

FindingLog::~FindingLog() {
    if (count_ > kMostTold) complain(source_, std::to_string(count_ - kMostTold) + " more");
}

void FindingLog::tell(uint64_t offset, const std::string& what) const {
    complain(source_, "byte " + std::to_string(offset) + ": " + what);
}

void FindingLog::tell(const ZvSurveyEvent& event) const {
    if (told_) complain(source_, text_of(event), gravity_of(event));
}

}  // namespace zvprobe
