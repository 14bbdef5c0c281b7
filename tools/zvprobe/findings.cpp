// SPDX-License-Identifier: MIT
// Implementation of findings.h.
#include "findings.h"

#include <cmath>

#include "session.h"
#include "terminal.h"
#include "text_parts.h"
#include "ts_text.h"

namespace zvprobe {

Findings::~Findings() {
    if (count_ > kMostTold) complain(source_, std::to_string(count_ - kMostTold) + " more");
}

void Findings::tell(uint64_t offset, const std::string& what) const {
    complain(source_, "byte " + std::to_string(offset) + ": " + what);
}

void Findings::tell(const ZvSurveyEvent& event) const {
    if (!told_) return;
    std::string text = "byte " + std::to_string(event.offset);
    if (!std::isnan(event.time_s)) text += ", " + time_text(event.time_s);
    if (event.pid != ZV_SURVEY_NONE) text += ", PID " + pid_text(static_cast<uint16_t>(event.pid));
    text += std::string(": ") + event.kind;
    if (event.indicator != nullptr) text += std::string(" (") + event.indicator + ")";
    complain(source_, text + ": " + printable(event.message));
}

}  // namespace zvprobe
