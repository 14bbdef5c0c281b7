// SPDX-License-Identifier: MIT
// Implementation of flv_finding_text.h.
#include "render/flv_finding_text.h"

#include "base/texts.h"

namespace zvprobe {
namespace {

std::string finding_text(const FlvFinding& finding) {
    switch (finding.kind) {
        case FlvFinding::Kind::kSizeWord:
            return "size word " + std::to_string(finding.found) + " behind a tag of " +
                   counted(finding.expected, "byte", "bytes");
        case FlvFinding::Kind::kNoTag:
            return "no tag, " + counted(finding.found, "byte", "bytes") + " skipped";
        case FlvFinding::Kind::kCutOff:
            return "the tag is cut off";
    }
    return {};
}

}  // namespace

FlvFindings telling(FindingLog& log) {
    return [&log](const FlvFinding& finding) {
        if (log.next()) log.tell(finding.offset, finding_text(finding));
    };
}

}  // namespace zvprobe
