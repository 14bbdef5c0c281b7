// SPDX-License-Identifier: MIT
// Keeps, while FLV or MPEG audio is read, what its page shows in the course of time.
#pragma once

#include "audio/mpeg_audio_report.h"
#include "flv/flv_probe.h"
#include "render/media_record.h"

namespace zvprobe {

// Has the probe tell the record as well as whoever it tells already.
// record  outlives the probe
void record_flv(MediaRecord& record, FlvProbeOptions& options);
void record_mpeg_audio(MediaRecord& record, MpegAudioProbeOptions& options);

}  // namespace zvprobe
