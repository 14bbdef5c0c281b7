// SPDX-License-Identifier: MIT
// What the tool does with a sample file of FLV or MPEG audio before it prints anything.
#pragma once

namespace zvbench {

// -> tags or frames. The process ends when the file is missing.
unsigned probe_flv_sample(const char* name);
unsigned probe_mpeg_audio_sample(const char* name);

}  // namespace zvbench
