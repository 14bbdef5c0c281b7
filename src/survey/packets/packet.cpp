// SPDX-License-Identifier: MIT
// Implementation of packet.h.
#include "survey/packets/packet.h"

namespace zv::survey {
namespace {

constexpr size_t kPtsEnd = 14;
constexpr size_t kDtsEnd = 19;
constexpr uint8_t kPtsFieldSize = 5;
constexpr uint8_t kBothFieldsSize = 10;

}  // namespace

std::optional<TimeStamps> read_time_stamps(std::span<const uint8_t> payload) {
    const uint8_t* const p = payload.data();
    if (payload.size() < kPtsEnd) return std::nullopt;
    if (!pes_validate(p) || !pes_has_optional_header(p[3]) || !pes_validate_header(p))
        return std::nullopt;
    if (!pes_has_pts(p) || pes_get_headerlength(p) < kPtsFieldSize) return std::nullopt;
    TimeStamps stamps = {pes_get_pts(p), std::nullopt};
    if (pes_has_dts(p) && pes_get_headerlength(p) >= kBothFieldsSize && payload.size() >= kDtsEnd)
        stamps.dts = pes_get_dts(p);
    return stamps;
}

}  // namespace zv::survey
