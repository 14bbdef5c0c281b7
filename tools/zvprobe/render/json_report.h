// SPDX-License-Identifier: MIT
// The report for programs: one object, described in docs/JSON.md. The same input gives the same
// bytes, statistics apart.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "base/json.h"
#include "render/source_report.h"

namespace zvprobe {

void print_json(std::ostream& out, const std::vector<SourceReport>& reports);

// -> the same about one source of many, in one line without its end
// index   of the source among all, from 0
// status  what the source alone would end the process with
std::string json_line(const SourceReport& report, size_t index, ExitStatus status);

// What there is about one source.
Json to_json(const SourceReport& report);

// The part about a transport stream.
Json to_json(const TsReport& report);

// The parts about an FLV and an MPEG audio source.
Json to_json(const FlvReport& report);
Json to_json(const MpegAudioReport& report);

}  // namespace zvprobe
