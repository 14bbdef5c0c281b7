// SPDX-License-Identifier: MIT
// What is wrong in an MPEG audio source, in words.
#pragma once

#include <string>

#include "audio/mpeg_audio_walk.h"
#include "render/finding_log.h"

namespace zvprobe {

// -> "MPEG-1 audio, Layer III"
std::string kind_text(const MpegAudioHeader& header);

std::string finding_text(const MpegAudioFinding& finding);

// -> passes what is found to the log, as long as the log takes findings; the log outlives it
std::function<void(const MpegAudioFinding&)> teller_of(FindingLog& log);

}  // namespace zvprobe
