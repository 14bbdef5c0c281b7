// SPDX-License-Identifier: MIT
// What an FLV source says of itself, compared with what it holds.
#pragma once

#include "flv/flv_report.h"

namespace zvprobe {

// -> the values of the first onMetaData that are not what was measured. What is 0 there, as after a
//    live recording, counts as not said.
std::vector<MetadataDifference> compare_metadata(const FlvReport& report);

// -> true when the header's flags say which of audio and video there is
bool flags_are_right(const FlvReport& report);

// -> true when time stamps step back, jump or wrap, frames lack their configuration, tags have a
//    stream id, flags or metadata are wrong. Encrypted tags, a changed configuration, another
//    onMetaData and data rates that were only aimed at are told, but are no errors.
bool has_wrong_facts(const FlvReport& report);

}  // namespace zvprobe
