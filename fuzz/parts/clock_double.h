// SPDX-License-Identifier: MIT
// The clock of the fuzz targets: it moves on with every reading and every usleep, and usleep takes
// no time. Two runs over the same stream see the same times. (sleep is libFuzzer's own.)
#pragma once

namespace fuzz {

void reset_clock();

}  // namespace fuzz
