// SPDX-License-Identifier: MIT
// What a PMT's stream_type means to the analyser.
#pragma once

#include <cstdint>

namespace zv {

struct StreamClass {
    const char* label;     // for the log; null for types without one
    uint32_t kind;         // MPEGTSStream::kind
    bool needs_valid_pid;  // video and audio; other streams are kept whatever their PID
};

StreamClass classify_stream(uint8_t stream_type);

}  // namespace zv
