// SPDX-License-Identifier: MIT
// The sources of a watch as metrics in the text format of Prometheus.
#pragma once

#include <string>

#include "watch/watch.h"

namespace zvprobe {

std::string metrics_text(const Watch& watch);

}  // namespace zvprobe
