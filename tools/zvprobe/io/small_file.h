// SPDX-License-Identifier: MIT
// Files that are read as a whole: those with settings.
#pragma once

#include <cstddef>
#include <string>

namespace zvprobe {

// -> what is in the file. Throws UsageError, without the file's name.
// most: bytes; a larger file is refused, as is a device without an end
std::string text_of_file(const std::string& path, size_t most);

// The same, where waiting for a pipe or a device would stop what goes on: only a regular file is
// read, and opening does not wait.
std::string text_of_regular_file(const std::string& path, size_t most);

}  // namespace zvprobe
