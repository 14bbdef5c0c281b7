// SPDX-License-Identifier: MIT
// What tables in force ask of a PID.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zv::survey {

enum class Role : uint8_t {
    kNamed,     // nothing but to be accounted for
    kPresence,  // its packets must come: video, audio, PCR
    kPts,       // its PTS must come: video, audio
    kPmt,       // a programme's map is on it
};
constexpr size_t kRoles = 4;

}  // namespace zv::survey
