// SPDX-License-Identifier: MIT
// The flags of an FLV file's header and of its tags' headers, and the type markers of AMF0 values
// in script data. The library's reader and the tool's use these.
#pragma once

#include <cstdint>

namespace zv::flv {

// Of the file header's flags.
constexpr uint8_t kHasAudioBit = 0x04;
constexpr uint8_t kHasVideoBit = 0x01;

// Of the first byte of a tag's header.
constexpr uint8_t kReservedBits = 0xC0;
constexpr uint8_t kFilterBit = 0x20;
constexpr uint8_t kTagTypeMask = 0x1F;

enum AmfType : uint8_t {
    kAmfNumber = 0,
    kAmfBoolean = 1,
    kAmfString = 2,
    kAmfObject = 3,
    kAmfMovieClip = 4,
    kAmfNull = 5,
    kAmfUndefined = 6,
    kAmfReference = 7,
    kAmfEcmaArray = 8,
    kAmfObjectEnd = 9,
    kAmfStrictArray = 10,
    kAmfDate = 11,
    kAmfLongString = 12,
    kAmfUnsupported = 13,
    kAmfXmlDocument = 15,
    kAmfTypedObject = 16,
};

}  // namespace zv::flv
