// SPDX-License-Identifier: MIT
// What is wrong in an FLV source, in words, as standard error gets it while the source is read.
#pragma once

#include <string>

#include "flv/flv_walk.h"
#include "render/finding_log.h"

namespace zvprobe {

std::string finding_text(const FlvFinding& finding);

// -> what tells the log; the log must outlive it
FlvFindings telling(FindingLog& log);

}  // namespace zvprobe
