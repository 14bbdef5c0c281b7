// SPDX-License-Identifier: MIT
// What is wrong in one source, told on standard error while it is read: where, on which PID, what.
// Reports and exit status do not depend on it.
#pragma once

#include <cstdint>
#include <string>

#include "base/passwords.h"
#include "render/log_line.h"
#include "zvsurvey.h"

namespace zvprobe {

// -> "byte 376, 0:01:02.500, PID 0x0100: continuity (1.4): ..."
std::string text_of(const ZvSurveyEvent& event);

Gravity gravity_of(const ZvSurveyEvent& event);

class FindingLog {
  public:
    // source: its name, of which passwords are left out; told: false keeps silent
    FindingLog(const std::string& source, bool told)
        : source_(without_passwords(source)), told_(told) {}

    // Tells how many were not told.
    ~FindingLog();
    FindingLog(const FindingLog&) = delete;
    FindingLog& operator=(const FindingLog&) = delete;

    const std::string& source() const { return source_; }

    // -> false when findings are not told at all
    bool told() const { return told_; }

    // Counts a finding. -> true when it is to be told, so that only then a text is made
    bool next() { return told_ && ++count_ <= kMostTold; }

    void tell(uint64_t offset, const std::string& what) const;

    // Tells what a survey found, and all of it: a log of the stream.
    void tell(const ZvSurveyEvent& event) const;

  private:
    static constexpr uint64_t kMostTold = 100;

    std::string source_;
    bool told_;
    uint64_t count_ = 0;
};

}  // namespace zvprobe
