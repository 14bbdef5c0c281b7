// SPDX-License-Identifier: MIT
// Implementation of tool_walks.h.
#include "tool_walks.h"

#include "audio/mpeg_audio_report.h"
#include "flv/flv_probe.h"
#include "samples.h"

namespace zvbench {

unsigned probe_flv_sample(const char* name) {
    const auto source = zvprobe::open_source(sample_path(name));
    return static_cast<unsigned>(zvprobe::probe_flv(*source, source->next(0), {}).reading.tags);
}

unsigned probe_mpeg_audio_sample(const char* name) {
    const auto source = zvprobe::open_source(sample_path(name));
    const auto report = zvprobe::probe_mpeg_audio(*source, source->next(0), {});
    return static_cast<unsigned>(report.reading.frames);
}

}  // namespace zvbench
