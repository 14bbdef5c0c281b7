// SPDX-License-Identifier: MIT
// The used part of the programme table and of a programme's streams, never more than there is room
// for, whatever the counts say.
#pragma once

#include <algorithm>
#include <span>

#include "mpeg/mpegts/context.h"

namespace zv {

inline std::span<MPEGTSProgram> programs(MPEGTSContext& ctx) {
    return {ctx.program, std::min<size_t>(ctx.totalnum_program, kMaxPrograms)};
}

inline std::span<MPEGTSStream> streams(MPEGTSProgram& program) {
    return {program.streams,
            static_cast<size_t>(std::clamp<int>(program.es_count, 0, kMaxStreams))};
}

}  // namespace zv
