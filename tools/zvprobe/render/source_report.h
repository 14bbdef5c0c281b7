// SPDX-License-Identifier: MIT
// What `probe` has to say about one source, whatever its format. The renderers work from it.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "audio/mpeg_audio_report.h"
#include "base/exit_status.h"
#include "flv/flv_report.h"
#include "render/media_record.h"
#include "ts/ts_report.h"

namespace zvprobe {

struct Failure {
    const char* kind;  // "cannot_open", "read_error" or "unknown_format"
    ExitStatus status;
    std::string message;  // one line, without the name of the source
};

struct SourceReport {
    std::string name;
    std::optional<Failure> failure;
    bool interrupted = false;

    // Nothing when the format is not known.
    std::variant<std::monostate, TsReport, FlvReport, MpegAudioReport> content;

    // Of FLV and MPEG audio, when asked for.
    std::optional<MediaRecord> media;

    bool has_content() const { return content.index() != 0; }
};

}  // namespace zvprobe
