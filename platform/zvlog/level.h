// SPDX-License-Identifier: MIT
// The range of log levels, as the files of the log library need it.
#pragma once

namespace zvlog {

constexpr unsigned kHighestLevel = 6;

}  // namespace zvlog
