// SPDX-License-Identifier: MIT
// The sample streams of tests/media, whole or damaged on purpose.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zvtest {

using Bytes = std::vector<uint8_t>;

// The whole file; an exception ends the test when it cannot be read.
Bytes load_media(const std::string& name);

// Without `count` packets of 188 bytes from packet `first` on.
Bytes drop_packets(Bytes stream, size_t first, size_t count);

}  // namespace zvtest
