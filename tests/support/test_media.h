// SPDX-License-Identifier: MIT
// The sample streams of tests/media.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/folder.h"

namespace zvtest {

using Bytes = std::vector<uint8_t>;

inline Bytes load_media(const std::string& name) {
    const std::string bytes = read_file(ZV_TEST_MEDIA "/" + name);
    if (bytes.empty()) throw std::runtime_error("cannot read " + name);
    return {bytes.begin(), bytes.end()};
}

}  // namespace zvtest
