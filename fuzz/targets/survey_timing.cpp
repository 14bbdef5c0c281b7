// SPDX-License-Identifier: MIT
// The survey of short streams with much time in them against its second reading: the clock and every
// indicator, and of one input in 64 every member of the JSON.
#include "maker/timing_maker.h"
#include "parts/survey_compare.h"

namespace {

// A fuzzer that could choose would take the slow way most of the time, for it reaches more.
bool one_in_64(std::span<const uint8_t> input) {
    uint32_t hash = 0;
    for (const uint8_t byte : input)
        hash = (hash ^ byte) * 0x01000193;
    return hash >> 26 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t cut = in.u8();
    const uint8_t cuts[8] = {cut, 255, 255, cut, 255, 255, 255, 188};
    fuzz::ByteSource sizes(cuts);
    const std::vector<uint8_t> input = fuzz::make_timed_packets(in);
    const fuzz::PieceSizes pieces(sizes);
    const bool compared = fuzz::require_timing_as_reference(input, pieces, 40);
    if (compared && one_in_64({data, size})) fuzz::require_as_reference(input, pieces, 40);
    return 0;
}
