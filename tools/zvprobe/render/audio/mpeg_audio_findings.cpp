// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_findings.h.
#include "render/audio/mpeg_audio_findings.h"

#include "base/texts.h"

namespace zvprobe {
namespace {

std::string told_and_found(const char* what, const MpegAudioFinding& finding) {
    return "the info frame says " + std::to_string(finding.told) + ' ' + what + ", there are " +
           std::to_string(finding.found);
}

}  // namespace

std::string kind_text(const MpegAudioHeader& header) {
    return std::string(version_name(header.version)) + " audio, Layer " +
           std::string(static_cast<size_t>(header.layer), 'I');
}

std::string finding_text(const MpegAudioFinding& finding) {
    using Kind = MpegAudioFinding::Kind;
    switch (finding.kind) {
        case Kind::kStray:
            return counted(finding.found, "byte", "bytes") + " of no frame skipped";
        case Kind::kCutFrame:
            return "the frame is cut off";
        case Kind::kChange:
            return "from here on " + kind_text(*finding.header) + ", " +
                   std::to_string(finding.header->sample_rate) + " Hz";
        case Kind::kCrc:
            return "the frame's CRC is " + hex(static_cast<uint32_t>(finding.told)) +
                   ", that of its bytes " + hex(static_cast<uint32_t>(finding.found));
        case Kind::kInfoFrames:
            return told_and_found("frames", finding);
        case Kind::kInfoBytes:
            return told_and_found("bytes of frames", finding);
        case Kind::kNoInfoFrame:
            return "the bit rate varies, and no info frame tells players how long the file is";
    }
    return {};
}

std::function<void(const MpegAudioFinding&)> teller_of(FindingLog& log) {
    return [&log](const MpegAudioFinding& finding) {
        if (log.next()) log.tell(finding.offset, finding_text(finding));
    };
}

}  // namespace zvprobe
