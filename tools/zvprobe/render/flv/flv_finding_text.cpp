// SPDX-License-Identifier: MIT
// Implementation of flv_finding_text.h.
#include "render/flv/flv_finding_text.h"

#include "base/texts.h"

namespace zvprobe {
namespace {

std::string step_text(const FlvFinding& finding, const char* what) {
    return std::string(what) + " from " + std::to_string(finding.expected) + " to " +
           std::to_string(finding.found) + " ms";
}

}  // namespace

std::string finding_text(const FlvFinding& finding) {
    switch (finding.kind) {
        case FlvFinding::Kind::kSizeWord:
            return "size word " + std::to_string(finding.found) + " after a tag of " +
                   counted(finding.expected, "byte", "bytes");
        case FlvFinding::Kind::kNoTag:
            return "no tag, " + counted(finding.found, "byte", "bytes") + " skipped";
        case FlvFinding::Kind::kCutOff:
            return "the tag is cut off";
        case FlvFinding::Kind::kStreamId:
            return "stream id " + std::to_string(finding.found) + ", which should be 0";
        case FlvFinding::Kind::kStepBack:
            return step_text(finding, "the time steps back");
        case FlvFinding::Kind::kJump:
            return step_text(finding, "the time jumps");
        case FlvFinding::Kind::kWrap:
            return step_text(finding, "the time wraps");
        case FlvFinding::Kind::kNoConfig:
            return "a frame before the codec's configuration";
        case FlvFinding::Kind::kConfigChanged:
            return "the codec's configuration changes";
        case FlvFinding::Kind::kSecondMetaData:
            return "another onMetaData";
    }
    return {};
}

FlvFindings telling(FindingLog& log) {
    return [&log](const FlvFinding& finding) {
        if (log.next()) log.tell(finding.offset, finding_text(finding));
    };
}

}  // namespace zvprobe
