// SPDX-License-Identifier: MIT
// Walks an FLV source to its end, or to a signal, and says what it found.
#pragma once

#include <functional>

#include "flv/flv_report.h"
#include "io/source.h"

namespace zvprobe {

struct FlvProbeOptions {
    std::function<void(uint64_t bytes)> on_progress;  // called now and then
    std::function<void(const FlvTag&)> on_tag;        // called for each whole tag; may be empty
    FlvFindings on_finding;                           // told what is wrong; may be empty
};

// first_window: what source.next(0) gave; it starts like an FLV file
FlvReport probe_flv(Source& source, std::span<const uint8_t> first_window,
                    const FlvProbeOptions& options);

}  // namespace zvprobe
