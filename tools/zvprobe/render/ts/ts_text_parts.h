// SPDX-License-Identifier: MIT
// The parts of the text about a transport stream, in the order of the page, and how they write
// figures. Most work from the survey's JSON.
#pragma once

#include <optional>

#include "base/texts.h"
#include "render/text_parts.h"
#include "render/text_report.h"
#include "render/text_table.h"

namespace zvprobe {

// Where the text of a labelled line begins.
constexpr size_t kLabelEnd = 15;

// -> the member; nothing when it is null
std::optional<double> figure(const Json& object, const char* name);

// -> the member; empty when it is null
std::string text_of(const Json& object, const char* name);

// -> "620.1 kbit/s", "12.345 Mbit/s"
std::string rate_text(double bits_per_second);

// -> the same of a member "bit_rate_bps"; empty when it is null
std::string rate_text(const Json& object);

// -> an elementary stream as people know it: "H.264 High@4.0 1920x1080i 25 fps",
//    "E-AC-3 48 kHz stereo fre"
std::string stream_text(const Json& stream, bool scrambled);

// -> the heading of a column with what a watch counted since the report before
std::string interval_heading(const TsReport& report);

// What is wrong with the packets of an entry of "pids".
Cell errors_cell(const Json& pid);

// Programmes, a line each, and their streams.
void print_programs(std::ostream& out, const TsReport& report, const Style& style);

// PIDs that are no programme's stream: tables, conditional access, null packets, unreferenced ones.
void print_other_pids(std::ostream& out, const TsReport& report, const Style& style);

// What is wrong, how often, and where first.
void print_faults(std::ostream& out, const TsReport& report, const Style& style);

// The indicators of ETSI TR 101 290 that counted something, and those that could not be measured.
void print_indicators(std::ostream& out, const TsReport& report, const Style& style);

// What changed in the stream, and splices.
void print_changes(std::ostream& out, const EventTallies& events, const Style& style);

// The resolver's account, with the statistics where they were asked for.
void print_resolver(std::ostream& out, const TsReport& report, const TextOptions& options);

}  // namespace zvprobe
