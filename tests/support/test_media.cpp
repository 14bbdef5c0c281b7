// SPDX-License-Identifier: MIT
#include "support/test_media.h"

#include <fstream>
#include <iterator>

namespace zvtest {

Bytes load_media(const std::string& name) {
    std::ifstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(std::string(ZV_TEST_MEDIA "/") + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

Bytes drop_packets(Bytes stream, size_t first, size_t count) {
    constexpr size_t kPacketSize = 188;
    const auto from = stream.begin() + static_cast<ptrdiff_t>(first * kPacketSize);
    stream.erase(from, from + static_cast<ptrdiff_t>(count * kPacketSize));
    return stream;
}

}  // namespace zvtest
