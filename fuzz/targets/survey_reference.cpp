// SPDX-License-Identifier: MIT
// The survey against its second reading, member by member: streams made from the input, made and
// then damaged by it, or the input itself.
#include "maker/survey_maker.h"
#include "parts/packets.h"
#include "parts/survey_compare.h"

namespace {

// Overwrites, loses and inserts bytes anywhere; headers of packets above all.
void damage(std::vector<uint8_t>& bytes, fuzz::ByteSource& in) {
    while (!in.empty() && bytes.size() > 1000) {
        const uint8_t how = in.u8();
        const size_t packet = in.u16() % (bytes.size() / 188) * 188;
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(packet + (how & 0x0F));
        switch (how >> 6) {
            case 0:
                *at = in.u8();
                break;
            case 1:
                *at = static_cast<uint8_t>(*at ^ 1 << (how >> 4 & 3));
                break;
            case 2:
                bytes.erase(at, bytes.begin() + static_cast<std::ptrdiff_t>(packet + 188));
                break;
            default:
                bytes.insert(at, in.u8(), 0x47);
        }
    }
}

std::vector<uint8_t> make_input(fuzz::ByteSource& in, uint8_t mode) {
    switch (mode & 7) {
        case 0:
            return fuzz::any_bytes(in.rest());
        case 1:
            return fuzz::whole_packets(in.rest(), 188, true);
        case 2:
            return fuzz::make_stream(in);
        case 3: {
            std::vector<uint8_t> made = fuzz::make_survey_stream(in.take(8));
            damage(made, in);
            return made;
        }
        default:
            return fuzz::make_survey_stream(in.rest());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = in.u8();
    const fuzz::PieceSizes sizes(in);
    const std::vector<uint8_t> input = make_input(in, mode);
    fuzz::require_as_reference(input, sizes, mode & 0x80 ? 1000 : 37);
    return 0;
}
