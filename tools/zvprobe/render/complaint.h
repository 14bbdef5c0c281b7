// SPDX-License-Identifier: MIT
// How the tool complains: a line on standard error.
#pragma once

#include <string>

namespace zvprobe {

// Writes "zvprobe: name: message" on standard error, in place of a progress line.
void complain(const std::string& name, const std::string& message);

}  // namespace zvprobe
