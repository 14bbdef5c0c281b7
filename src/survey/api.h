// SPDX-License-Identifier: MIT
// What a host holds of a survey, and the rule of all its functions: no exception leaves one;
// memory that is short becomes a result.
#pragma once

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "survey/model/description.h"
#include "survey/survey.h"
#include "zvsurvey.h"

// The survey, and what its records borrow.
struct ZvSurvey {
    explicit ZvSurvey(const ZvSurveyOptions& options);

    // -> what the tables say now
    const zv::survey::Description& description() const {
        const uint64_t generation = survey.model().generation();
        if (!described || described_generation != generation) {
            described.emplace(survey.model());
            described_generation = generation;
        }
        return *described;
    }

    zv::survey::Survey survey;
    bool ended = false;
    std::optional<bool> live;  // which of the two feeds was called

    mutable std::optional<zv::survey::Description> described;
    mutable uint64_t described_generation = 0;
    mutable std::optional<std::string> network_name;
    mutable std::vector<uint16_t> ca_system_ids;
    mutable std::string languages;
    mutable std::optional<zv::survey::ServiceEvent> now, next;
    mutable std::string event_message;
    mutable std::vector<uint16_t> seen_pids;
    mutable std::vector<const std::pair<const zv::survey::TableKey, zv::survey::TableRecord>*>
        table_order;
    mutable std::vector<double> pcr_interval_min_s, pcr_interval_max_s;
};

namespace zv::survey {

// -> the record of an event; it borrows the message
ZvSurveyEvent to_record(const Event& event, const std::string& message);

// As many members as the caller's version of the record has.
template <typename Record>
int fill(Record* out, size_t size, const Record& record) {
    std::memcpy(static_cast<void*>(out), &record, std::min(size, sizeof record));
    return 1;
}

// Calls work() -> int; an exception becomes `failed`.
template <typename Work>
int guarded(int failed, Work work) noexcept {
    try {
        return work();
    } catch (...) {
        return failed;
    }
}

}  // namespace zv::survey
