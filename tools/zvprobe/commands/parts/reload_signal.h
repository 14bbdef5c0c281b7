// SPDX-License-Identifier: MIT
// SIGHUP as the wish that a configuration is read again, as services have it.
#pragma once

namespace zvprobe {

// From now on SIGHUP ends nothing.
void expect_reload_signals();

// -> true once for each signal that came; several at a time count as one
bool reload_wanted();

}  // namespace zvprobe
