// SPDX-License-Identifier: MIT
// Walks an FLV source to its end, or to a signal, and says what it found.
#pragma once

#include <functional>

#include "flv/flv_report.h"
#include "io/source.h"

namespace zvprobe {

struct FlvTagFacts {
    bool meta_data = false;  // onMetaData
    bool frame = false;      // holds one or more
    bool key_frame = false;  // of the first video track
    int64_t time = 0;        // of the frame, ms
};

// All may be empty.
struct FlvProbeOptions {
    std::function<void(uint64_t bytes)> on_progress;                // called now and then
    std::function<void(const FlvTag&, const FlvTagFacts&)> on_tag;  // called for each whole tag
    FlvFindings on_finding;                                         // told what is wrong
};

// first_window: what source.next(0) gave; it starts like an FLV file
FlvReport probe_flv(Source& source, std::span<const uint8_t> first_window,
                    const FlvProbeOptions& options);

}  // namespace zvprobe
