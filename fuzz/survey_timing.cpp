// SPDX-License-Identifier: MIT
// The survey of short streams with much time in them against its second reading: the clock and every
// indicator, now and then every member of the JSON.
#include "survey_compare.h"
#include "timing_maker.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t cut = in.u8();
    const uint8_t cuts[8] = {cut, 255, 255, cut, 255, 255, 255, 188};
    fuzz::ByteSource sizes(cuts);
    const std::vector<uint8_t> input = fuzz::make_timed_packets(in);
    const bool every_member = (cut & 31) == 31;
    const auto require =
        every_member ? fuzz::require_as_reference : fuzz::require_timing_as_reference;
    require(input, fuzz::PieceSizes(sizes), 40);
    return 0;
}
