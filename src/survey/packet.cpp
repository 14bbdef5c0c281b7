// SPDX-License-Identifier: MIT
// Implementation of packet.h.
#include "survey/packet.h"

namespace zv::survey {
namespace {

constexpr size_t kPtsEnd = 14;
constexpr size_t kDtsEnd = 19;
constexpr uint8_t kPtsFieldSize = 5;
constexpr uint8_t kBothFieldsSize = 10;

// These stream_ids have no optional header (2.4.3.7).
bool has_optional_header(uint32_t stream_id) {
    switch (stream_id) {
        case 0xBC:  // program_stream_map
        case 0xBE:  // padding_stream
        case 0xBF:  // private_stream_2
        case 0xF0:  // ECM
        case 0xF1:  // EMM
        case 0xF2:  // DSM-CC
        case 0xF8:  // ITU-T H.222.1 type E
        case 0xFF:  // program_stream_directory
            return false;
        default:
            return stream_id >= 0xBC;
    }
}

}  // namespace

std::optional<TimeStamps> read_time_stamps(std::span<const uint8_t> payload) {
    const uint8_t* const p = payload.data();
    if (payload.size() < kPtsEnd) return std::nullopt;
    if (!pes_validate(p) || !has_optional_header(pes_get_streamid(p)) || !pes_validate_header(p))
        return std::nullopt;
    if (!pes_has_pts(p) || pes_get_headerlength(p) < kPtsFieldSize) return std::nullopt;
    TimeStamps stamps = {pes_get_pts(p), std::nullopt};
    if (pes_has_dts(p) && pes_get_headerlength(p) >= kBothFieldsSize && payload.size() >= kDtsEnd)
        stamps.dts = pes_get_dts(p);
    return stamps;
}

}  // namespace zv::survey
