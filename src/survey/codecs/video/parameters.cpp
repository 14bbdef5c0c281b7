// SPDX-License-Identifier: MIT
// Implementation of parameters.h.
#include "survey/codecs/video/parameters.h"

#include "survey/codecs/video/start_codes.h"

namespace zv::survey {
namespace {

// Does a unit of this codec, given from after its start code on, hold parameters of the sequence?
bool has_parameters(Codec codec, std::span<const uint8_t> unit) {
    const uint8_t first = unit[0];
    switch (codec) {
        case Codec::kH264:
            return (first & 0x1F) == 7;  // sequence_parameter_set
        case Codec::kHevc:
            return (first >> 1 & 0x3F) == 32 || (first >> 1 & 0x3F) == 33;  // VPS, SPS
        case Codec::kVvc:
            return unit.size() > 1 && (unit[1] >> 3 == 14 || unit[1] >> 3 == 15);  // VPS, SPS
        case Codec::kMpeg1Video:
        case Codec::kMpeg2Video:
            return first == 0xB3;  // sequence_header
        case Codec::kMpeg4:
            return first == 0xB0 || (first >= 0x20 && first <= 0x2F);  // sequence, layer
        default:
            return true;
    }
}

bool has_start_codes(Codec codec) {
    return codec >= Codec::kH264 && codec <= Codec::kMpeg4;
}

}  // namespace

bool may_begin_with_parameters(Codec codec, std::span<const uint8_t> bytes) {
    if (!has_start_codes(codec)) return true;
    StartCodes units(bytes);
    while (const auto unit = units.next())
        if (has_parameters(codec, unit->bytes)) return true;
    return false;
}

std::span<const uint8_t> first_parameters(Codec codec, std::span<const uint8_t> bytes) {
    if (!has_start_codes(codec)) return {};
    StartCodes units(bytes);
    while (const auto unit = units.next())
        if (unit->ended && has_parameters(codec, unit->bytes)) return unit->bytes;
    return {};
}

}  // namespace zv::survey
