// SPDX-License-Identifier: MIT
// Implementation of flv_report.h.
#include "flv/flv_report.h"

#include <cmath>

#include "flv/flv_checks.h"

namespace zvprobe {

const FlvScript* FlvReport::meta_data() const {
    for (const FlvScript& script : scripts)
        if (script.data.name == kOnMetaData) return &script;
    return nullptr;
}

const AmfValue* FlvReport::metadata(std::string_view key) const {
    const FlvScript* const script = meta_data();
    const bool has_values = script != nullptr && !script->data.values.empty();
    return has_values ? script->data.values.front().find(key) : nullptr;
}

double FlvReport::duration() const {
    return std::round(times.duration()) / 1000.0;
}

double FlvReport::data_rate(const FlvTrack& track) const {
    const double seconds = duration();
    return seconds > 0 ? static_cast<double>(track.body_bytes) * 8 / 1000 / seconds : 0;
}

double video_frame_rate(const FlvReport& report) {
    return report.times.frame_rate(FlvTimes::Track::kVideo);
}

bool has_findings(const FlvReport& report) {
    const FlvReading& reading = report.reading;
    return reading.mismatches.count() != 0 || reading.skipped_bytes != 0 ||
           reading.trailing_bytes != 0 || !report.library.accepted || has_wrong_facts(report);
}

}  // namespace zvprobe
