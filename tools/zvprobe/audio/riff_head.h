// SPDX-License-Identifier: MIT
// MPEG audio in a RIFF file (WAVE with format tag 0x0050 or 0x0055, or RMP3): where it stands there.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>

namespace zvprobe {

struct RiffHead {
    static constexpr uint64_t kUnknownEnd = std::numeric_limits<uint64_t>::max();

    uint64_t data_begin;
    uint64_t data_end;  // kUnknownEnd where the writer did not come back to say
    uint64_t riff_end;  // other chunks follow the data up to here
};

// -> nothing when the bytes are no such file, or show no "data" chunk in their first 4096
std::optional<RiffHead> read_riff_head(std::span<const uint8_t> bytes);

// Is this a file of another kind that may hold MPEG audio among other things?
bool is_other_container(std::span<const uint8_t> bytes);

}  // namespace zvprobe
