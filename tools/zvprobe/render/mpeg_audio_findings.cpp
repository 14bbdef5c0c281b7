// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_findings.h.
#include "render/mpeg_audio_findings.h"

#include "base/texts.h"

namespace zvprobe {

std::string finding_text(const MpegAudioFinding& finding) {
    switch (finding.kind) {
        case MpegAudioFinding::Kind::kStray:
            return counted(finding.count, "byte", "bytes") + " of no frame skipped";
        case MpegAudioFinding::Kind::kCutFrame:
            return "the frame is cut off";
    }
    return {};
}

OnMpegAudioFinding teller_of(FindingLog& log) {
    return [&log](const MpegAudioFinding& finding) {
        if (log.next()) log.tell(finding.offset, finding_text(finding));
    };
}

}  // namespace zvprobe
