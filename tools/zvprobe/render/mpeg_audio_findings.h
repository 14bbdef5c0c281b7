// SPDX-License-Identifier: MIT
// What is wrong in an MPEG audio source, in words.
#pragma once

#include <string>

#include "audio/mpeg_audio_walk.h"
#include "render/finding_log.h"

namespace zvprobe {

std::string finding_text(const MpegAudioFinding& finding);

// -> tells the log what is found, as long as it wants to know; the log outlives it
OnMpegAudioFinding teller_of(FindingLog& log);

}  // namespace zvprobe
