// SPDX-License-Identifier: MIT
// What the HTML report of an FLV or MPEG audio source needs besides its facts: when frames came, and
// when what is wrong was found.
#pragma once

#include <string>

#include "base/capped_list.h"
#include "base/media_history.h"

namespace zvprobe {

struct TimedFinding {
    int64_t time_ms;  // of the last frame before it
    uint64_t offset;
    std::string message;
};

struct MediaRecord {
    MediaHistory history;
    CappedList<TimedFinding> findings;

    void note(uint64_t offset, std::string message) {
        findings.add({history.now_ms(), offset, std::move(message)});
    }
};

}  // namespace zvprobe
